// A line of 50 MB on its way to the web page: how long it holds the main thread, beside what making the message there
// would take, and how late beats on the loops of calls are meanwhile. The service is the stand-in, in a process of its
// own.
#include "base/Background.h"
#include "base/SerialQueue.h"
#include "bench/Race.h"
#include "bench/ServiceProcess.h"
#include "controller/AppState.h"
#include "platform/SecretStore.h"
#include "wire/AgentMessages.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <array>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <latch>
#include <thread>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LENGTH = 50 << 20;
constexpr int ROUNDS = 5;
constexpr double AIM = 20; // milliseconds: a beat of a call

double milliseconds(const QElapsedTimer &timer) {
    return double(timer.nsecsElapsed()) / 1e6;
}

// Of this thread, in nanoseconds.
std::int64_t processorTime() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::int64_t(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

// A queue such as calls have, with a timer each millisecond that looks how late it is, and how long its loop has worked
// since the last one, which does not depend on what else the machine does.
class Beats {
public:
    Beats() {
        m_queue.post([this] { wait(); });
    }
    ~Beats() {
        std::latch ended(1);
        m_queue.post([&] {
            m_timer.cancel();
            ended.count_down();
        });
        ended.wait();
    }
    // Milliseconds.
    double takeLatest() { return double(m_latest.exchange(0)) / 1e6; }
    double takeLongest() { return double(m_longest.exchange(0)) / 1e6; }

private:
    void wait() {
        constexpr std::chrono::milliseconds PERIOD(1);
        const auto worked = processorTime();
        m_longest = std::max<std::int64_t>(m_longest, worked - m_worked);
        m_worked = worked;
        m_due = Clock::now() + PERIOD;
        m_timer = m_queue.after(PERIOD, [this] {
            m_latest = std::max<std::int64_t>(m_latest, std::chrono::nanoseconds(Clock::now() - m_due).count());
            wait();
        });
    }

    SerialQueue m_queue{"ombru.call"};
    Clock::Time m_due;
    Timer m_timer;
    std::int64_t m_worked = processorTime(); // nanoseconds, as the others
    std::atomic<std::int64_t> m_latest = 0;
    std::atomic<std::int64_t> m_longest = 0;
};

using AllBeats = std::array<Beats, 2>; // one a loop

double takeLatest(AllBeats &beats) {
    return std::max(beats[0].takeLatest(), beats[1].takeLatest());
}

double takeLongest(AllBeats &beats) {
    return std::max(beats[0].takeLongest(), beats[1].takeLongest());
}

// Gives the longest turn of the main loop until then, in milliseconds.
template <class Condition>
double turnUntil(Condition condition) {
    double longest = 0;
    while (!condition()) {
        QElapsedTimer turn;
        turn.start();
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        longest = std::max(longest, milliseconds(turn));
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return longest;
}

void measure(AppState &state, bench::ServiceProcess &service, AllBeats &beats) {
    QElapsedTimer pause;
    pause.start();
    takeLatest(beats);
    turnUntil([&] { return pause.hasExpired(2000); });
    const auto usual = takeLatest(beats);
    takeLongest(beats);
    double held = 0;
    double whole = 0;
    for (int round = 0; round < ROUNDS; ++round) {
        service.forget();
        const QString text(LENGTH + round, u'x');
        QElapsedTimer timer;
        timer.start();
        Loop::main().post([&] { state.emit(text, EventKind::said); });
        held = std::max(held, turnUntil([&] { return service.has(" bytes)"); }));
        whole += milliseconds(timer) / ROUNDS;
    }
    const auto late = takeLatest(beats);
    const auto worked = takeLongest(beats);
    const QString text(LENGTH, u'x');
    QElapsedTimer timer;
    timer.start();
    const auto made = QJsonDocument(toJson(EventMessage{u"said"_s, text, 0})).toJson(QJsonDocument::Compact);
    const auto making = milliseconds(timer);
    std::printf("A line of 50 MB to the web page (%d rounds)\n", ROUNDS);
    std::printf("  longest turn of the main thread  %8.1f ms, 1/%.0f of making the message (%.0f ms)%s\n", held,
                making / held, making, held < AIM ? "" : "; MISSES THE AIM of 20 ms");
    std::printf("  longest work of a call's loop    %8.1f ms%s\n", worked,
                worked < AIM ? "" : "; MISSES THE AIM of 20 ms");
    std::printf("  latest beat of a call's loop     %8.1f ms, without the line %.1f ms\n", late, usual);
    std::printf("  whole at the service after       %8.1f ms\n", whole);
    if (made.size() < LENGTH)
        bench::fail("the message is not whole");
}

} // namespace

int main(int argc, char **argv) {
    QTemporaryDir home;
    for (const auto *name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"})
        qputenv(name, home.path().toUtf8());
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    const QCoreApplication application(argc, argv);
    bench::ServiceProcess service;
    setSecret(u"device-token"_s, QString::fromLatin1(bench::ServiceProcess::TOKEN));
    const auto beats = std::make_unique<AllBeats>();
    AppState state;
    if (!state.settings.serverURL.write(service.base()))
        bench::fail("no settings");
    const auto booting = state.boot();
    turnUntil([&] { return state.agentConnected() && service.has("\"state\""); });
    measure(state, service, *beats);
    QCoro::waitFor(state.drain());
    finishBackground(std::chrono::seconds(2));
}
