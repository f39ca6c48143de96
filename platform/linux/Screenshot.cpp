#include "platform/Screenshot.h"

#include "picture/Scale.h"
#include "platform/linux/wayland/PortalScreen.h"
#include "platform/linux/wayland/WaylandSession.h"
#include "platform/linux/x11/Display.h"
#include "platform/linux/x11/ScreenReader.h"

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr std::chrono::seconds PORTAL_LIMIT(10);
constexpr int BAND = 32; // rows of the result made at a time: what they are made of stays in the processor's cache

Failure failed(const QString &what) {
    return {u"screenshot"_s, 1, what};
}

Failure displayGone() {
    return failed(u"The display went away while its picture was taken."_s);
}

std::vector<Scaler::Rows> bandsOf(int height) {
    std::vector<Scaler::Rows> bands;
    for (int y = 0; y < height; y += BAND)
        bands.push_back({y, std::min(BAND, height - y)});
    return bands;
}

// Where a monitor is in a picture of all of them; when they are arranged in another shape, the whole picture.
QRect partOf(QSize picture, const Display &display, QRect monitor) {
    const double across = double(picture.width()) / display.screen().width_in_pixels;
    const double down = double(picture.height()) / display.screen().height_in_pixels;
    if (std::abs(across - down) > 0.01 * across)
        return {QPoint(), picture};
    const QPoint from(qRound(monitor.x() * across), qRound(monitor.y() * down));
    const QSize size(qRound(monitor.width() * across), qRound(monitor.height() * down));
    return QRect(from, size) & QRect(QPoint(), picture);
}

Picture cropped(const Picture &picture, QRect part) {
    const auto width = static_cast<std::size_t>(part.width());
    const auto pixels = std::make_shared_for_overwrite<std::uint32_t[]>(width * part.height());
    for (int y = 0; y < part.height(); ++y)
        std::copy_n(picture.row(part.y() + y) + part.x(), width, pixels.get() + y * width);
    return {part.width(), part.height(), pixels};
}

// In a Wayland session scripts click through the X server inside it, so that its coordinates count, whatever the size
// of the portal's picture; without one the picture is the primary monitor.
Result<Screenshot> takeFromPortal(int longerSide) {
    const auto whole = portalPicture(PORTAL_LIMIT);
    if (!whole)
        return std::unexpected(failed(u"In a Wayland session only the desktop portal shows the screen. %1 %2"_s.arg(
            whole.error().description, portalPictureRemedy(whole.error()))));
    const auto display = Display::open();
    const QRect monitor = display ? display->primaryMonitor() : QRect();
    const QSize size(whole->width, whole->height);
    const QRect part = monitor.isEmpty() ? QRect(QPoint(), size) : partOf(size, *display, monitor);
    return Screenshot{scaled(cropped(*whole, part), fitted(part.size(), longerSide)),
                      monitor.isEmpty() ? part.size() : monitor.size()};
}

Result<Screenshot> takeFromDisplay(int longerSide) {
    const auto display = Display::open();
    if (!display)
        return std::unexpected(display.error());
    const QRect area = display->primaryMonitor();
    if (area.isEmpty())
        return std::unexpected(displayGone());
    const QSize size = fitted(area.size(), longerSide);
    Scaler scaler(area.size(), size);
    const auto bands = bandsOf(size.height());
    int most = 0;
    for (const Scaler::Rows band : bands)
        most = std::max(most, scaler.sources(band).count);
    const auto reader = ScreenReader::make(*display, area, most);
    if (!reader)
        return std::unexpected(
            failed(u"The display has a pixel format without true colours; use one with 16 bits or more."_s));
    const auto ask = [&](Scaler::Rows band) {
        const Scaler::Rows rows = scaler.sources(band);
        reader->ask(rows.first, rows.count);
    };
    ask(bands.front());
    for (std::size_t i = 0; i < bands.size(); ++i) {
        if (i + 1 < bands.size())
            ask(bands[i + 1]);
        const std::uint32_t *pixels = reader->take();
        if (!pixels)
            return std::unexpected(displayGone());
        scaler.scale(bands[i], pixels);
    }
    return Screenshot{scaler.take(), area.size()};
}

} // namespace

Result<Screenshot> takeScreenshot(int longerSide) {
    return isWaylandSession() ? takeFromPortal(longerSide) : takeFromDisplay(longerSide);
}

} // namespace ombru
