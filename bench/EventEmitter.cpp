// The application's controller with its channel, for who measures events: for each number on its input it emits so
// many, one a millisecond, whose texts are moments of the steady clock. Usage: bench-event-emitter SERVICE CHANNEL
#include "base/Background.h"
#include "bench/Race.h"
#include "controller/AppState.h"
#include "platform/SecretStore.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTemporaryDir>

#include <cstdio>
#include <unistd.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

Task<> emitEvents(AppState &state, int count) {
    for (; count > 0; --count) {
        state.emit(QString::number(std::chrono::steady_clock::now().time_since_epoch() / 1ns), EventKind::said);
        co_await sleep(1ms);
    }
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    const QTemporaryDir home;
    for (const auto *name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"})
        qputenv(name, home.path().toUtf8());
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    const auto arguments = QCoreApplication::arguments();
    setSecret(u"device-token"_s, u"stand-in-token"_s);
    AppState state;
    if (!state.settings.serverURL.write(arguments.value(1)) || !state.settings.agentURL.write(arguments.value(2)))
        bench::fail("no settings");
    TaskScope tasks;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &input, [&] {
        int count = 0;
        if (std::scanf("%d", &count) != 1)
            return QCoreApplication::quit();
        tasks.start(emitEvents(state, count));
    });
    bool told = false;
    const auto watched = state.onWillChange([&] {
        Loop::main().post([&] {
            if (!state.agentConnected() || std::exchange(told, true))
                return;
            std::puts("ready");
            std::fflush(stdout);
        });
    });
    tasks.start(state.boot());
    QCoreApplication::exec();
    QCoro::waitFor(state.drain());
    QCoro::waitFor(tasks.drain());
    finishBackground(2s);
}
