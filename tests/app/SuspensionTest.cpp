// Ctrl-Z in the middle of a task, as a shell with job control sees it: all that is the task's stops and goes on with
// ombru, and holds meanwhile nothing that others want.
#include "base/Descriptor.h"
#include "platform/linux/consent/PromptLock.h"
#include "platform/linux/x11/SyntheticInput.h"
#include "tests/app/Journey.h"
#include "tests/support/DesktopModule.h"

#include <QProcess>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// A prompt that another program would show: opens as soon as none may type.
class Question {
public:
    explicit Question(const QString &database)
        : m_thread([this, database] {
              const auto alone = PromptLock::forPrompt(database);
              m_isOpen = alone.has_value();
              m_closes.wait(false);
          }) {}
    ~Question() { close(); }
    bool isOpen() const { return m_isOpen; }
    void close() {
        m_closes = true;
        m_closes.notify_all();
        if (m_thread.joinable())
            m_thread.join();
    }

private:
    std::atomic<bool> m_isOpen = false;
    std::atomic<bool> m_closes = false;
    std::thread m_thread;
};

class Suspension : public Journey {
protected:
    Suspension() {
        m_environment.erase("XDG_CONFIG_HOME"); // the settings are in the home
        allow(data(), {u"System Events"_s}, ownConsentClient());
        // As a shell with job control: in a group of its own, and of this session, where somebody can continue it.
        m_ombru.setChildProcessModifier([] { ::setpgid(0, 0); });
        m_ombru.setProcessChannelMode(QProcess::MergedChannels);
    }

    // A task of this one script.
    void learn(const QString &script) {
        teach(
            u"task: wait\nwords: wait\n\n=== 1\nI wait.\n\n```applescript\n%1\n```\n\n=== 2\nDONE: over\n"_s.arg(script)
                .toUtf8());
    }
    void startTask(const QString &script) {
        learn(script);
        startOmbru({u"run"_s, u"wait"_s});
    }
    void startOmbru(const QStringList &arguments) {
        QProcessEnvironment environment;
        for (const auto &[name, value] : m_environment)
            environment.insert(QString::fromUtf8(name), QString::fromUtf8(value));
        m_ombru.setProcessEnvironment(environment);
        m_ombru.start(bin(u"ombru"_s), arguments);
        ASSERT_TRUE(m_ombru.waitForStarted());
    }

    // Shift is down, and a shell runs until it may end, beside something out of reach of groups and sessions.
    static QString holdingShift() {
        return u"tell application \"System Events\" to key down shift\n"
               "do shell script \"cd; rm -f go; mkfifo go; setsid sleep 338 >/dev/null 2>&1 & "
               "echo $! >ready.new; mv ready.new ready; read word <go; kill $!\"\n"
               "tell application \"System Events\"\nkey code 53\nkey up shift\nend tell"_s;
    }
    void awaitShift() {
        ASSERT_GT(pidIn(m_scratch.path(u"ready"_s)), 0);
        ASSERT_TRUE(holdsKeys());
    }
    void startHoldingShift() {
        startTask(holdingShift());
        awaitShift();
    }
    void letTheShellEnd() const {
        const Descriptor go(::open(QFile::encodeName(m_scratch.path(u"go"_s)).constData(), O_WRONLY | O_CLOEXEC));
        ASSERT_EQ(::write(go.number(), "go\n", 3), 3);
    }

    // How it ended, and what it said.
    Finished end() {
        EXPECT_TRUE(waitUntil([this] { return m_ombru.state() == QProcess::NotRunning; }));
        const int status = m_ombru.exitStatus() == QProcess::NormalExit ? m_ombru.exitCode() : -1;
        return {status, QString::fromUtf8(m_ombru.readAll())};
    }

    void stop() {
        signal(SIGTSTP);
        ASSERT_TRUE(waitUntil([this] { return isStopped(m_ombru.processId()); }));
    }
    void goOn() const { signal(SIGCONT); }
    void signal(int number) const {
        ASSERT_GT(m_ombru.processId(), 0) << "it has ended, and this would be for the test's own group";
        ASSERT_EQ(::kill(pid_t(m_ombru.processId()), number), 0);
    }

    bool holdsKeys() const { return heldByPrograms(m_display).any(); }

    // All of the task's but those that see to its end.
    QStringList thatRun() const {
        QStringList running;
        for (const qint64 pid : marked()) {
            const auto program = QFileInfo(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid))).fileName();
            if (!isStopped(pid) && program != u"ombru-keeper"_s && program != u"ombru-input-release"_s)
                running += program;
        }
        return running;
    }

    void expectNothingLeft(const std::string &after) {
        EXPECT_TRUE(waitUntil([this] { return marked().isEmpty(); }))
            << after << ": " << markedPrograms().join(u' ').toStdString();
        EXPECT_FALSE(holdsKeys()) << after;
    }

    static std::unique_ptr<Companion> startTarget(Desktop &desktop, const QString &file) {
        auto target = test::startProgram(
            "'" + qgetenv("OMBRU_BIN") + "/../tests/input-target' '" + file.toUtf8() + "' target", "input-target");
        focusWindow(desktop, u"target"_s);
        return target;
    }

    QString database() const { return data() + u"/ombru/consent.db"_s; }

    QProcess m_ombru;
    ombru::Display m_display = std::move(*ombru::Display::open());
};

} // namespace

TEST_F(Suspension, StopsAllOfATaskAndContinuesIt) {
    startHoldingShift();
    stop();
    EXPECT_EQ(thatRun(), QStringList());
    EXPECT_FALSE(holdsKeys());
    EXPECT_GE(markedPrograms().count(u"sleep"_s), 1);
    goOn();
    letTheShellEnd();
    const auto finished = end();
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"✓ script ok"_s)) << finished.out.toStdString();
    expectNothingLeft("the end");
}

TEST_F(Suspension, TheApplicationStopsItsTaskToo) {
    const auto runtime = m_scratch.path(u"run"_s);
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_environment["XDG_RUNTIME_DIR"] = runtime.toUtf8();
    m_environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent"; // no store for secrets
    learn(holdingShift());
    startOmbru({u"--headless"_s});
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(runtime + u"/ombru/application"_s); }));
    const auto view = start({u"wait"_s});
    awaitShift();
    stop();
    EXPECT_EQ(thatRun(), QStringList{u"ombru"_s}) << "the view goes on";
    EXPECT_FALSE(holdsKeys());
    goOn();
    letTheShellEnd();
    const auto finished = Journey::end(view);
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    signal(SIGTERM);
    EXPECT_EQ(end().status, 0);
}

TEST_F(Suspension, TimeThatATaskIsStoppedForIsNoTimeOfItsScript) {
    ASSERT_EQ(Journey::end(startProgram(u"ombru"_s, {u"settings"_s, u"scriptTimeout"_s, u"12"_s})).status, 0);
    startHoldingShift();
    stop();
    const auto end = std::chrono::steady_clock::now() + 13s;
    while (std::chrono::steady_clock::now() < end) { // longer than the script may take
        ASSERT_TRUE(isStopped(m_ombru.processId()));
        std::this_thread::sleep_for(50ms);
    }
    goOn();
    letTheShellEnd();
    const auto finished = Suspension::end();
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"✓ script ok"_s)) << finished.out.toStdString();
}

TEST_F(Suspension, ATaskThatIsStoppedEndsBySignalsAsEver) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        startHoldingShift();
        stop();
        signal(number);
        goOn(); // as a terminal that is closed does it
        const auto finished = end();
        EXPECT_EQ(finished.status, 130) << number << finished.out.toStdString();
        expectNothingLeft(std::to_string(number));
        QFile::remove(m_scratch.path(u"ready"_s));
    }
}

TEST_F(Suspension, ATaskThatIsStoppedEndsWhenOmbruIsKilled) {
    startHoldingShift();
    stop();
    signal(SIGKILL);
    EXPECT_EQ(end().status, -1);
    expectNothingLeft("SIGKILL");
}

TEST_F(Suspension, AKeyThatIsBeingTypedIsTypedAndAQuestionOpensMeanwhile) {
    const auto desktop = openDesktop();
    const auto file = m_scratch.path(u"typed"_s);
    const auto target = startTarget(*desktop, file);
    QString text;
    for (int i = 0; i < 1200; ++i) // which no keyboard has: some at a time, and the target has to keep up
        text += QChar(0x4e00 + i);
    startTask(u"tell application \"System Events\" to keystroke \"%1\""_s.arg(text));
    ASSERT_TRUE(waitUntil([&] { return contents(file).size() > 100; }));
    stop();
    EXPECT_EQ(thatRun(), QStringList());
    EXPECT_FALSE(holdsKeys());
    Question question(database());
    EXPECT_TRUE(waitUntil([&] { return question.isOpen(); })) << "it waits for a script that is stopped";
    ASSERT_TRUE(desktop->input().type(u"#"_s, 0)); // behind all that the target has not got to yet
    EXPECT_TRUE(waitUntil([&] { return contents(file).endsWith('#'); }));
    const auto before = contents(file);
    ASSERT_LT(before.size(), text.toUtf8().size()) << "this test was too late";
    goOn();
    ASSERT_TRUE(waitUntil([this] { return thatRun().contains(u"osascript"_s); }));
    const auto quiet = std::chrono::steady_clock::now() + 300ms;
    while (std::chrono::steady_clock::now() < quiet) // nothing is typed while a question is open
        EXPECT_EQ(contents(file).size(), before.size());
    question.close();
    const auto finished = end();
    EXPECT_TRUE(finished.out.contains(u"✓ script ok"_s)) << finished.out.toStdString();
    const auto typed = [&] { return QString::fromUtf8(contents(file)).remove(u'#'); };
    EXPECT_TRUE(waitUntil([&] { return typed() == text; })) << typed().toStdString();
}

TEST_F(Suspension, AnApplicationThatDoesNotAnswerKeepsNoKeyDownAndNoQuestionAway) {
    const auto desktop = openDesktop();
    const auto target = startTarget(*desktop, m_scratch.path(u"typed"_s));
    target->signal(SIGSTOP);
    startTask(u"tell application \"System Events\" to keystroke \"x\" using option down"_s);
    ASSERT_TRUE(waitUntil([this] { return holdsKeys(); }));
    stop();
    EXPECT_FALSE(holdsKeys());
    Question question(database());
    EXPECT_TRUE(waitUntil([&] { return question.isOpen(); })) << "it waits for a script that is stopped";
    question.close();
    target->signal(SIGCONT);
    goOn();
    const auto finished = end();
    EXPECT_TRUE(finished.out.contains(u"✓ script ok"_s)) << finished.out.toStdString();
}

TEST_F(Suspension, AReaderThatDoesNotReadKeepsNobodyFromStoppingIt) {
    const auto path = m_scratch.path(u"out"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    const Descriptor unread(::open(QFile::encodeName(path).constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    teach("task: wait\nwords: wait\n\n=== 1\nDONE: " + QByteArray(6'000'000, 'x') + "\n");
    m_ombru.setProcessChannelMode(QProcess::SeparateChannels);
    m_ombru.setStandardOutputFile(path, QIODevice::Append);
    startOmbru({u"run"_s, u"wait"_s});
    ASSERT_TRUE(waitUntil([&] {
        pollfd room{unread.number(), POLLOUT, 0};
        return ::poll(&room, 1, 0) == 0;
    }));
    stop();
    goOn();
    ASSERT_TRUE(waitUntil([this] { return !isStopped(m_ombru.processId()); }));
    signal(SIGINT);
    EXPECT_EQ(end().status, 1);
}
