// The application in the menu bar beside the least program of the same toolkit that has an icon there: from the start
// to the icon, from a click to a painted panel, and what both take while they rest. This plays the desktop's host for
// such icons. To be run in a private desktop. Usage: bench-shell [SECONDS at rest [rest]], where "rest" leaves out
// what is timed.
#include "base/Program.h"
#include "bench/Busy.h"
#include "bench/Resting.h"
#include "bench/ServiceProcess.h"
#include "platform/linux/x11/Display.h"
#include "settings/Settings.h"
#include "tests/support/StatusWatcherStandIn.h"

#include <QDBusMessage>

#include <cstdio>
#include <cstring>

using namespace ombru;
using namespace Qt::StringLiterals;

using bench::Resting, bench::Times, bench::until;

namespace {

constexpr int MINUTE = 60;         // seconds
constexpr int ROUNDS = 20;         // of what is timed
constexpr int SETTLING = 8000;     // milliseconds from the connection to the measurement
constexpr double MEMORY_AIM = 1.5; // times the bare program's
constexpr double WAKES_AIM = 1;    // a second
constexpr QPoint ICON(1900, 4);
constexpr QPoint IN_THE_PANEL(1700, 60);

std::unique_ptr<Resting> startOurs() {
    return std::make_unique<Resting>("ombru-menubar", u"ombru-menubar"_s, QStringList());
}

std::unique_ptr<Resting> startBare() {
    return std::make_unique<Resting>("the bare program", u"bench-bare-tray"_s, QStringList());
}

void print(const char *what, const Times &ours, const Times &bare) {
    std::printf("| %s | **%.2f** | %.0f | %.0f | %.0f | %.0f |\n", what, ours.at(0.5) / bare.at(0.5), ours.at(0.5),
                ours.at(0.95), bare.at(0.5), bare.at(0.95));
    std::fflush(stdout);
}

double milliseconds(const QElapsedTimer &elapsed) {
    return double(elapsed.nsecsElapsed()) / 1e6;
}

class Desk {
public:
    Desk() {
        if (!m_watcher.begin())
            bench::fail("there is a host for icons already");
    }

    using Start = std::unique_ptr<Resting> (*)();

    void awaitIcon() const {
        until([&] { return m_watcher.items().size() == 1; }, "an icon");
    }
    void awaitNoIcon() const {
        until([&] { return m_watcher.items().isEmpty(); }, "the icon's end");
    }
    double startToIcon(Start start) const {
        awaitNoIcon();
        QElapsedTimer elapsed;
        elapsed.start();
        const auto program = start();
        awaitIcon();
        return milliseconds(elapsed);
    }
    double clickToPaint() const {
        const auto before = pixel();
        QElapsedTimer elapsed;
        elapsed.start();
        click();
        until([&] { return pixel() != before; }, "a painted window");
        const auto taken = milliseconds(elapsed);
        click();
        until([&] { return pixel() == before; }, "the window's end");
        return taken;
    }

private:
    void click() const {
        auto message = QDBusMessage::createMethodCall(m_watcher.items().front(), u"/StatusNotifierItem"_s,
                                                      u"org.kde.StatusNotifierItem"_s, u"Activate"_s);
        message.setArguments({ICON.x(), ICON.y()});
        m_bus.send(message);
    }
    std::uint32_t pixel() const {
        const Reply<xcb_get_image_reply_t> image(
            xcb_get_image_reply(m_display.connection(),
                                xcb_get_image(m_display.connection(), XCB_IMAGE_FORMAT_Z_PIXMAP,
                                              m_display.screen().root, IN_THE_PANEL.x(), IN_THE_PANEL.y(), 1, 1, ~0U),
                                nullptr));
        std::uint32_t value = 0;
        if (image && xcb_get_image_data_length(image.get()) >= 4)
            std::memcpy(&value, xcb_get_image_data(image.get()), sizeof value);
        return value;
    }

    QDBusConnection m_bus = QDBusConnection::sessionBus();
    test::StatusWatcherStandIn m_watcher{m_bus, true};
    Display m_display = std::move(*Display::open());
};

void measureStart(const Desk &desk) {
    Times ours;
    Times bare;
    for (int round = 0; round < ROUNDS; ++round) {
        ours.add(desk.startToIcon(startOurs));
        bare.add(desk.startToIcon(startBare));
    }
    print("start to icon", ours, bare);
}

Times clicksToPaint(const Desk &desk, Desk::Start start) {
    desk.awaitNoIcon();
    const auto program = start();
    desk.awaitIcon();
    desk.clickToPaint(); // the first one also makes the window
    Times times;
    for (int round = 0; round < ROUNDS; ++round)
        times.add(desk.clickToPaint());
    return times;
}

void measureTimes(const Desk &desk) {
    std::printf("| ms | ours, times the bare program's | ours: p50 | p95 | bare: p50 | p95 |\n"
                "|---|---:|---:|---:|---:|---:|\n");
    measureStart(desk);
    const auto ours = clicksToPaint(desk, startOurs);
    print("click to a painted panel", ours, clicksToPaint(desk, startBare));
}

void measureRest(const Desk &desk, bench::ServiceProcess &service, int seconds) {
    desk.awaitNoIcon();
    service.forget();
    const auto bare = startBare();
    const auto ours = startOurs();
    until([&] { return service.has("\"state\""); }, "a channel");
    bench::pass({}, SETTLING);
    ours->begin();
    bare->begin();
    bench::pass({ours.get(), bare.get()}, seconds * 1000);
    std::printf("\n### %d s at rest, signed in, with the panel closed\n\n"
                "| | memory (PSS), MB | shared pages in full (RSS) | PSS with what it started, at most | wake-ups a "
                "second | processor, s an hour |\n"
                "|---|---:|---:|---:|---:|---:|\n",
                seconds);
    const auto own = ours->cost(seconds);
    const auto least = bare->cost(seconds);
    for (const auto &[name, cost] : {std::pair(ours->name(), own), std::pair(bare->name(), least)})
        std::printf("| %s | **%.1f** | %.1f | %.1f | **%.2f** | %.2f |\n", name, cost.memory, cost.resident,
                    cost.memoryWithStarted, cost.wakes, cost.processor);
    std::printf("\n%.2f times the bare program's memory (aim %.1f), %.2f times with shared pages in full; aim for "
                "wake-ups: %.0f a second.\n",
                own.memory / least.memory, MEMORY_AIM, own.resident / least.resident, WAKES_AIM);
}

// It was started before, so that it shows no hint.
void startedBefore() {
    Settings settings(Settings::defaultFile());
    if (!settings.shownMenuBarHint.write(true) || !settings.loginItemDefaulted.write(true))
        bench::fail("no settings");
}

} // namespace

int main(int argc, char **argv) {
    beginProgram();
    const QCoreApplication application(argc, argv);
    if (qEnvironmentVariableIsEmpty("OMBRU_PRIVATE_DESKTOP"))
        bench::fail("this signs in: run it in tests/support/private-desktop");
    const auto seconds = QCoreApplication::arguments().value(1).toInt();
    bench::ServiceProcess service;
    bench::signInBefore(service);
    startedBefore();
    const Desk desk;
    if (QCoreApplication::arguments().value(2) != u"rest"_s)
        measureTimes(desk);
    measureRest(desk, service, seconds > 0 ? seconds : MINUTE);
    return 0;
}
