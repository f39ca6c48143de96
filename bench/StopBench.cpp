// How long a stop takes: from the cancel to an idle controller with no process of the task left, cancelled at every
// await of a task in turn, on a machine that does nothing else and on one that is busy. To be run in a private desktop.
#include "base/Process.h"
#include "base/Program.h"
#include "bench/Busy.h"
#include "bench/Race.h"
#include "controller/AppState.h"
#include "platform/Keeper.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>

using namespace ombru;
using namespace Qt::StringLiterals;

using bench::Busy, bench::Times;

namespace {

constexpr int ROUNDS = 20;
constexpr int PATIENCE_MILLISECONDS = 30'000;

// What a script may leave where neither groups nor sessions reach.
const QByteArray ESCAPE = "timeout 300 sleep 338 & setsid sleep 338 & (nohup setsid sleep 338 >/dev/null 2>&1 &) ; ";

void write(const QString &path, const QByteArray &text) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() ||
        !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
        bench::fail("cannot write " + path.toStdString());
}

QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Processes that have that in their environment, without this one.
int marked(const QByteArray &mark) {
    int count = 0;
    for (const QString &name : QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        if (name.toLongLong() > 0 && name.toLongLong() != QCoreApplication::applicationPid() &&
            contents(u"/proc/"_s + name + u"/environ"_s).contains(mark))
            ++count;
    return count;
}

template <class Condition>
void until(Condition condition, const char *what) {
    QElapsedTimer elapsed;
    elapsed.start();
    while (!condition()) {
        if (elapsed.hasExpired(PATIENCE_MILLISECONDS))
            bench::fail(std::string("never came: ") + what);
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }
}

class Home {
public:
    Home() {
        QDir(m_directory.path()).mkpath(u".local/bin"_s);
        qputenv("HOME", m_directory.path().toUtf8());
        qputenv("OMBRU_BENCH", MARK);
        for (const char *name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME"})
            qunsetenv(name);
    }
    QString path(const QString &name) const { return m_directory.filePath(name); }
    void claude(const QByteArray &body) const { write(path(u".local/bin/claude"_s), "#!/bin/sh\n" + body + "\n"); }
    void claudeReplies(const QByteArray &reply) const { claude("printf '%s' '" + reply + "'"); }

    static inline const QByteArray MARK = "stop-" + QByteArray::number(QCoreApplication::applicationPid());

private:
    QTemporaryDir m_directory;
};

struct Await {
    const char *name;
    QString event;    // that comes just before it; empty: a file says that it is under way
    QByteArray reply; // of claude, as JSON; empty: claude itself is waited for
};

const QByteArray NOTHING = R"({"result": "```applescript\nreturn 1\n```"})";

std::vector<Await> awaits(const Home &home) {
    const auto running = home.path(u"running"_s).toUtf8();
    const QByteArray script = R"({"result": "```applescript\ndo shell script \")" + ESCAPE + "touch " + running +
                              R"( ; sleep 338; true\"\n```"})";
    return {{"the lock", u"you ❯ "_s, NOTHING},
            {"the screenshot", u"── step 1"_s, NOTHING},
            {"the preview", u"screenshot "_s, NOTHING},
            {"claude", {}, {}},
            {"the reply's split", u"replied in "_s, NOTHING},
            {"the check", u"script:\n"_s, NOTHING},
            {"the script", {}, script},
            {"the settle pause", u"✓ script ok"_s, NOTHING}};
}

double stopOnce(const Home &home, const Await &await) {
    QFile::remove(home.path(u"running"_s));
    if (await.reply.isEmpty())
        home.claude(ESCAPE + "touch \"$HOME/running\"; sleep 338");
    else
        home.claudeReplies(await.reply);
    AppState state;
    state.setWebChannel([](const AgentMessage &) {});
    state.setWebChannelOpen(true);
    bool reached = false;
    const auto heard = state.onEvent([&](const Event &event) {
        if (!await.event.isEmpty() && event.text.startsWith(await.event))
            Loop::main().post([&reached] { reached = true; });
    });
    state.startTask(u"go"_s);
    until([&] { return reached || (await.event.isEmpty() && QFile::exists(home.path(u"running"_s))); }, await.name);
    QElapsedTimer elapsed;
    elapsed.start();
    state.cancelTask();
    until([&] { return !state.busy; }, "idle");
    until([] { return marked(Home::MARK) == 0; }, "no process");
    const double milliseconds = double(elapsed.nsecsElapsed()) / 1e6;
    QCoro::waitFor(state.drain());
    return milliseconds;
}

Times measure(const Home &home, const Await &await) {
    Times times;
    for (int round = 0; round < ROUNDS; ++round)
        times.add(stopOnce(home, await));
    return times;
}

} // namespace

int main(int argc, char **argv) {
    beginProgram();
    const QCoreApplication application(argc, argv);
    if (qEnvironmentVariableIsEmpty("OMBRU_PRIVATE_DESKTOP"))
        bench::fail("this starts tasks: run it in tests/support/private-desktop");
    Process::setKeeper(keeperPath());
    const Home home;
    std::printf("| cancelled during | idle: p50, ms | p95 | max | busy: p50, ms | p95 | max |\n"
                "|---|---:|---:|---:|---:|---:|---:|\n");
    for (const auto &await : awaits(home)) {
        const auto idle = measure(home, await);
        const Busy others;
        const auto busy = measure(home, await);
        bench::printRow(await.name, {&idle, &busy});
    }
    return 0;
}
