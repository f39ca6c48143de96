#include "platform/Screenshot.h"

#include "base/Scale.h"
#include "platform/linux/Display.h"
#include "platform/linux/ScreenReader.h"

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

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

} // namespace

Result<Picture> takeScreenshot(int longerSide) {
    const auto display = Display::open();
    if (!display)
        return std::unexpected(display.error());
    if (display->isWaylandGuest())
        return std::unexpected(
            failed(u"In a Wayland session the screen cannot be read this way. Log in to a session on X11."_s));
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
    return scaler.take();
}

QSize screenSize() {
    const auto display = Display::open();
    return display ? display->primaryMonitor().size() : QSize();
}

} // namespace ombru
