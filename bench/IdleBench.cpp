// The application that stays, signed in and with nothing to do: what memory it takes, how often it wakes and what it
// computes in a real minute, beside the least program that does the same for the service; and what it computes in an
// hour of a clock that is moved. To be run in a private desktop. Usage: bench-idle [SECONDS]
#include "base/Background.h"
#include "base/Process.h"
#include "base/Program.h"
#include "bench/Resting.h"
#include "bench/ServiceProcess.h"
#include "controller/AppState.h"
#include "platform/Keeper.h"

#include <cstdio>
#include <sys/resource.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using bench::pass, bench::Resting, bench::until;

namespace {

constexpr int MINUTE = 60;        // seconds
constexpr int SETTLING = 8000;    // milliseconds from the connection to the measurement
constexpr double MEMORY_AIM = 40; // MB
constexpr double WAKES_AIM = 1;   // a second

void print(const Resting &program, int seconds) {
    const auto cost = program.cost(seconds);
    std::printf("| %s | **%.1f** | %.1f | %.1f | **%.2f** | %.2f |\n", program.name(), cost.memory, cost.resident,
                cost.memoryWithStarted, cost.wakes, cost.processor);
}

void measureMinute(bench::ServiceProcess &service, int seconds) {
    Resting least("the least client", u"bench-least-client"_s,
                  {service.base(), QString::fromLatin1(bench::ServiceProcess::TOKEN)});
    Resting ours("ours", u"ombru"_s, {u"--headless"_s});
    until([&] { return service.has("\"state\""); }, "a channel");
    pass({}, SETTLING);
    const auto beats = service.count("/api/device/config");
    ours.begin();
    least.begin();
    pass({&ours, &least}, seconds * 1000);
    std::printf("\n### %d s at rest, with %lld requests\n\n"
                "| | memory (PSS), MB | shared pages in full (RSS) | PSS with what it started, at most | wake-ups a "
                "second | processor, s an hour |\n"
                "|---|---:|---:|---:|---:|---:|\n",
                seconds, static_cast<long long>(service.count("/api/device/config") - beats));
    print(ours, seconds);
    print(least, seconds);
    std::printf("\nAims: %.0f MB, %.0f wake-up a second. It has ended %.0f ms after it was asked to.\n", MEMORY_AIM,
                WAKES_AIM, ours.end());
}

double processorOf(int whose) {
    rusage usage{};
    ::getrusage(whose, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Until nothing of a beat is under way: it has many steps, each of which has something to wait for.
void comeToRest() {
    constexpr int TURNS = 20;
    const auto resting = [] { return backgroundIsIdle() && bench::children(u"self"_s).size() == 1; }; // the service
    int turns = 0;
    until([&] { return (turns = resting() ? turns + 1 : 0) == TURNS; }, "rest");
}

// In steps, so that what comes more often than a beat does.
void measureHour(bench::ServiceProcess &service) {
    constexpr int BEATS = 60;
    constexpr auto STEP = 5s;
    AppState state;
    ManualClock clock;
    const auto booting = state.boot();
    until([&] { return state.agentConnected(); }, "a channel");
    comeToRest();
    const auto own = processorOf(RUSAGE_SELF);
    const auto others = processorOf(RUSAGE_CHILDREN);
    for (int beat = 0; beat < BEATS; ++beat) {
        const auto before = service.count("/api/device/config");
        for (auto passed = 0s; passed < 60s; passed += STEP) {
            clock.advance(STEP);
            QCoreApplication::processEvents();
        }
        until([&] { return service.count("/api/device/config") > before; }, "a beat");
        comeToRest();
    }
    std::printf("\nAn hour of a moved clock, %d beats: %.2f s of the processor, and %.2f s of what it started.\n",
                BEATS, processorOf(RUSAGE_SELF) - own, processorOf(RUSAGE_CHILDREN) - others);
    QCoro::waitFor(state.drain());
}

} // namespace

int main(int argc, char **argv) {
    beginProgram();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"ombru"_s);
    if (qEnvironmentVariableIsEmpty("OMBRU_PRIVATE_DESKTOP"))
        bench::fail("this signs in: run it in tests/support/private-desktop");
    Process::setKeeper(keeperPath());
    const auto seconds = QCoreApplication::arguments().value(1).toInt();
    bench::ServiceProcess service;
    bench::signInBefore(service);
    measureMinute(service, seconds > 0 ? seconds : MINUTE);
    measureHour(service);
    finishBackground(2s);
}
