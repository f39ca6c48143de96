// The controller's concerns by themselves: each is told to end alone, and the others go on.

#include "controller/PermissionDesk.h"
#include "controller/TaskLoop.h"
#include "tests/controller/LoopFixture.h"

#include <atomic>

using namespace ombru;
using namespace Qt::StringLiterals;
using Outcome = TaskResult::Outcome;

namespace {

struct Told {
    std::vector<TaskProgress> progress;
    std::vector<TaskResult> results;
    QStringList lines;
    std::vector<PermissionView> views;
};

class TaskRecorder : public TaskReports {
public:
    explicit TaskRecorder(Told &told) : m_told(told) {}
    void tell(const QString &text, EventKind, const TaskFact &) override { m_told.lines.append(text); }
    void showStatus(const QString &) override {}
    void showActivity(const QString &) override {}
    void showProgress(const TaskProgress &progress) override { m_told.progress.push_back(progress); }
    void sendState() override {}
    bool wantsPictures() const override { return false; }
    void showPicture(int, const QByteArray &) override {}
    void blocked(const AppAutomation::Target &) override {}
    QString howToAllow(const AppAutomation::Target &) const override { return {}; }
    void conversationIs(const std::optional<QString> &) override {}
    void ended(const TaskResult &result) override { m_told.results.push_back(result); }

private:
    Told &m_told;
};

class PermissionRecorder : public PermissionReports {
public:
    explicit PermissionRecorder(Told &told) : m_told(told) {}
    void show(const PermissionView &view) override { m_told.views.push_back(view); }
    void allowed(const AppAutomation::Target &) override {}
    void warn(const QString &line) override { m_told.lines.append(line); }

private:
    Told &m_told;
};

class Concerns : public test::LoopFixture {
protected:
    Concerns() {
        // What the desk asks waits until the gate is opened.
        FakePlatform::instance().desktop->applications[u"com.apple.systemevents"_s] = {u"System Events"_s};
        FakePlatform::instance().desktop->beforeDetermining = [gate = gate, reached = reached](const QString &, bool) {
            *reached = true;
            gate->wait(false);
        };
        claude.playAlways("case $1 in --help|auth) exit 1;; esac; echo $$ >\"$HOME/asked\"\n"
                          "while [ ! -e \"$HOME/go\" ]; do sleep 0.01; done\n"
                          "echo '{\"result\":\"DONE: ok\",\"session_id\":\"s\"}'");
    }
    ~Concerns() override {
        openGate();
        test::await(loop.end());
        test::await(desk.end());
    }
    void openGate() {
        *gate = true;
        gate->notify_all();
    }
    // A task that waits for claude, and a look that waits for the system.
    void startBoth() {
        refreshing = test::mark(desk.refresh(), refreshed);
        ASSERT_TRUE(loop.start({.task = u"go"_s}));
        ASSERT_TRUE(test::waitUntil([this] { return reached->load() && QFile::exists(home.filePath(u"asked"_s)); }));
    }
    bool taskEnds() {
        return test::waitUntil([this] { return !told.progress.back().busy; });
    }

    std::shared_ptr<std::atomic<bool>> gate = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<std::atomic<bool>> reached = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<bool> refreshed = std::make_shared<bool>(false);
    Task<> refreshing;
    Told told;
    Settings settings{home.filePath(u"concerns.conf"_s)};
    TaskLoop loop{settings, [] { return QString(); }, std::make_unique<TaskRecorder>(told)};
    PermissionDesk desk{settings, std::make_unique<PermissionRecorder>(told)};
};

} // namespace

TEST_F(Concerns, TheEndOfThePermissionDeskEndsItsLookAndNoTask) {
    startBoth();
    test::await(desk.end());
    EXPECT_TRUE(*refreshed);
    EXPECT_TRUE(told.views.empty()) << "nothing is told any more";
    EXPECT_TRUE(told.progress.back().busy);
    EXPECT_TRUE(QFile(home.filePath(u"go"_s)).open(QFile::WriteOnly));
    ASSERT_TRUE(taskEnds());
    EXPECT_EQ(told.results.back(), (TaskResult{Outcome::done, u"ok"_s}));
}

TEST_F(Concerns, ALookAfterTheEndIsOverAtOnceAndAsksNothing) {
    test::await(desk.end());
    const auto look = test::mark(desk.refresh(), refreshed);
    EXPECT_TRUE(*refreshed) << "nothing is begun that would outlive the desk";
    EXPECT_FALSE(*reached);
    EXPECT_TRUE(told.views.empty());
}

TEST_F(Concerns, TheEndOfTheTaskLoopCancelsItsTaskAndNoLook) {
    startBoth();
    test::await(loop.end());
    EXPECT_FALSE(told.progress.back().busy);
    ASSERT_EQ(told.results.size(), 1u);
    EXPECT_EQ(told.results.back(), (TaskResult{Outcome::cancelled, u"Okay, stopped."_s}));
    EXPECT_FALSE(*refreshed);
    openGate();
    ASSERT_TRUE(test::waitUntil([this] { return *refreshed; }));
    EXPECT_EQ(told.views.back().allowed.permissions.value(u"automation"_s), Permission::State::granted);
}

TEST_F(Concerns, AStartThatIsRefusedUndoesNoCancel) {
    startBoth();
    EXPECT_TRUE(loop.cancel());
    EXPECT_FALSE(loop.start({.task = u"another"_s}));
    EXPECT_TRUE(told.progress.back().cancelling);
    ASSERT_TRUE(taskEnds());
    EXPECT_EQ(told.results.back().outcome, Outcome::cancelled);
}

TEST_F(Concerns, ATaskTellsOfItsEndBeforeItsProgressSaysSo) {
    EXPECT_TRUE(QFile(home.filePath(u"go"_s)).open(QFile::WriteOnly));
    bool wasBusy = false;
    EXPECT_TRUE(loop.start({.task = u"go"_s, .remote = [&](const QString &) { wasBusy = told.progress.back().busy; }}));
    EXPECT_FALSE(loop.start({.task = u"another"_s}));
    EXPECT_EQ(told.lines, QStringList{u"you ❯ go"_s});
    ASSERT_TRUE(taskEnds());
    EXPECT_EQ(told.results.size(), 1u);
    EXPECT_FALSE(wasBusy) << "who gets the answer may start the next task";
}

TEST_F(Concerns, ATaskThatComesWithTheEndOfTheProgramIsNotBegun) {
    test::await(state->drain());
    EXPECT_FALSE(state->startTask(u"late"_s));
    EXPECT_FALSE(state->busy);
}
