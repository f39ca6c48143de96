// A line of 50 MB on its way to the web page: how long it holds the main thread, beside what making the message there
// would take. The service is the stand-in, in a process of its own.
#include "base/Background.h"
#include "bench/Race.h"
#include "controller/AppState.h"
#include "platform/SecretStore.h"
#include "wire/AgentMessages.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>
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

class Service {
public:
    Service() {
        m_process.start(QCoreApplication::applicationDirPath() + u"/../tests/ombru-service-stand-in"_s, {u"0"_s});
        while (m_printed.count('\n') == 0 && m_process.waitForReadyRead())
            read();
        m_base = m_printed.trimmed().mid(QByteArrayView("listens on ").size());
        QObject::connect(&m_process, &QProcess::readyRead, &m_process, [this] { read(); });
    }
    ~Service() {
        m_process.kill();
        m_process.waitForFinished();
    }
    QString base() const { return QString::fromUtf8(m_base); }
    bool has(const char *text) const { return m_printed.contains(text); }
    void forget() { m_printed.clear(); }

private:
    void read() { m_printed += m_process.readAll(); }

    QProcess m_process;
    QByteArray m_printed;
    QByteArray m_base;
};

void measure(AppState &state, Service &service) {
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
    const QString text(LENGTH, u'x');
    QElapsedTimer timer;
    timer.start();
    const auto made = QJsonDocument(toJson(EventMessage{u"said"_s, text, 0})).toJson(QJsonDocument::Compact);
    const auto making = milliseconds(timer);
    std::printf("A line of 50 MB to the web page (%d rounds)\n", ROUNDS);
    std::printf("  longest turn of the main thread  %8.1f ms, 1/%.0f of making the message (%.0f ms)%s\n", held,
                making / held, making, held < AIM ? "" : "; MISSES THE AIM of 20 ms");
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
    Service service;
    setSecret(u"device-token"_s, u"stand-in-token"_s);
    AppState state;
    if (!state.settings.serverURL.write(service.base()))
        bench::fail("no settings");
    const auto booting = state.boot();
    turnUntil([&] { return state.agentConnected() && service.has("\"state\""); });
    measure(state, service);
    QCoro::waitFor(state.drain());
    finishBackground(std::chrono::seconds(2));
}
