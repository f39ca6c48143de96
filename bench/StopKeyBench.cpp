// How long the stop key takes while a script of a task presses keys without end: from a person's key to the last key of
// the script, and to an application that is idle; on a machine that does nothing else and on one that is busy. The
// application in the menu bar is the real one. To be run in a private desktop.
#include "base/Program.h"
#include "bench/Busy.h"
#include "bench/Resting.h"
#include "bench/ServiceProcess.h"
#include "platform/linux/x11/InputEvents.h"
#include "settings/Settings.h"
#include "tests/support/PersonsKeyboard.h"
#include "tests/support/Record.h"

#include <QFile>

#include <cstdio>

using namespace ombru;
using namespace Qt::StringLiterals;

using bench::Busy, bench::Resting, bench::Times, bench::until;

namespace {

constexpr int ROUNDS = 20;
constexpr int UNDER_WAY = 10;     // keys of the script, before it is stopped
constexpr int STRAGGLERS = 300;   // milliseconds in which a late key would show
constexpr double INPUT_AIM = 100; // milliseconds
constexpr double IDLE_AIM = 500;
constexpr std::array<std::uint8_t, 3> STOP{37, 50, 9}; // Ctrl, Shift, Escape: key codes of a usual keyboard

constexpr auto SCENARIO = R"(task: press keys
words: press keys

=== 1
@next 1
I press keys.

```applescript
tell application "System Events"
	repeat
		key code 123
	end repeat
end tell
```
)";

void write(const QString &path, const QByteArray &text) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        bench::fail("cannot write " + path.toStdString());
}

void prepare(const bench::ServiceProcess &service) {
    bench::signInBefore(service);
    Settings settings(Settings::defaultFile());
    if (!settings.shownMenuBarHint.write(true) || !settings.loginItemDefaulted.write(true))
        bench::fail("no settings");
    if (!test::writeDecision(u"com.ombru.mac"_s, u"System Events"_s, true))
        bench::fail("nothing can be allowed");
    const auto scenario = QDir::homePath() + u"/press-keys.scenario"_s;
    write(scenario, SCENARIO);
    qputenv("OMBRU_SCENARIO", scenario.toUtf8());
}

class Bench {
public:
    explicit Bench(bench::ServiceProcess &service) : m_service(service) {
        if (!m_inputs)
            bench::fail("the display does not tell of keys");
        until([&] { return m_service.has("\"state\""); }, "a channel");
    }

    void stopOnce() {
        m_keys = 0;
        m_lastKey = 0;
        m_service.say("press keys");
        until([&] { return m_keys >= UNDER_WAY; }, "keys of the script");
        m_service.forget(); // an idle state from here on is the stop's
        press(true);
        until([&] { return m_service.has("\"busy\":false"); }, "idle");
        const auto idle = double(m_pressed.nsecsElapsed()) / 1e6;
        press(false);
        bench::pass({}, STRAGGLERS);
        m_pressed.invalidate();
        m_toIdle.add(idle);
        m_toLastKey.add(m_lastKey);
    }

    const Times &toLastKey() const { return m_toLastKey; }
    const Times &toIdle() const { return m_toIdle; }
    void begin() {
        m_toIdle = {};
        m_toLastKey = {};
    }

private:
    void press(bool down) {
        for (const auto key : STOP) {
            if (down)
                m_pressed.start();
            m_keyboard.press(key, down);
        }
    }
    void note(const InputEvents::Press &press) {
        if (!press.isByProgram)
            return;
        ++m_keys;
        if (m_pressed.isValid())
            m_lastKey = double(m_pressed.nsecsElapsed()) / 1e6;
    }

    bench::ServiceProcess &m_service;
    Resting m_application{"ombru-menubar", u"ombru-menubar"_s, {}};
    test::PersonsKeyboard m_keyboard;
    int m_keys = 0;
    QElapsedTimer m_pressed; // since the person's key
    double m_lastKey = 0;    // of the script, after that
    Times m_toLastKey;
    Times m_toIdle;
    std::unique_ptr<InputEvents> m_inputs =
        InputEvents::watch(InputEvents::keyPresses, {[this](const InputEvents::Press &press) { note(press); }, {}});
};

void measure(Bench &bench, const char *machine) {
    bench.begin();
    for (int round = 0; round < ROUNDS; ++round)
        bench.stopOnce();
    bench::printRow(machine, {&bench.toLastKey(), &bench.toIdle()});
}

} // namespace

int main(int argc, char **argv) {
    beginProgram();
    const QCoreApplication application(argc, argv);
    if (qEnvironmentVariableIsEmpty("OMBRU_PRIVATE_DESKTOP"))
        bench::fail("this starts tasks: run it in tests/support/private-desktop");
    bench::ServiceProcess service;
    prepare(service);
    std::printf("| machine | to the last key, ms: p50 | p95 | max | to idle, ms: p50 | p95 | max |\n"
                "|---|---:|---:|---:|---:|---:|---:|\n");
    Bench bench(service);
    measure(bench, "idle");
    {
        const Busy others;
        measure(bench, "busy");
    }
    std::printf("\nAims at p95: %.0f ms to the last key, %.0f ms to idle.\n", INPUT_AIM, IDLE_AIM);
    return 0;
}
