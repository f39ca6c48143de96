// Whole tasks as their owner hands them over. What was done is on the disk.
#include "tests/app/Journey.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString HAIKU = u"open the text editor and write a haiku about rain into it"_s;

class TaskJourney : public Journey {
protected:
    TaskJourney() { allow(data(), {u"System Events"_s, u"TextEdit"_s}, ownConsentClient()); }
};

} // namespace

TEST_F(TaskJourney, AHaikuIsWrittenIntoTheEditorAndSaved) {
    const auto finished = run({HAIKU});
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"✓ The haiku is in the text editor"_s)) << finished.out.toStdString();
    EXPECT_EQ(contents(m_scratch.path(u"Documents/haiku.txt"_s)),
              "Rain taps on the roof —\neach drop a small, patient word,\nthe garden listens.\n");
}

TEST_F(TaskJourney, WhatTheOwnerDidNotAllowIsNotDone) {
    decide(data(), ownConsentClient(), {u"TextEdit"_s}, false);
    const auto finished = run({u"--max-steps"_s, u"1"_s, HAIKU});
    EXPECT_EQ(finished.status, 1);
    EXPECT_TRUE(finished.out.contains(u"✗ TextEdit hasn't been allowed yet — turn it on in System Settings"_s))
        << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"To let scripts control TextEdit: `ombru consent allow "_s))
        << finished.out.toStdString();
    EXPECT_FALSE(QFile::exists(m_scratch.path(u"Documents/haiku.txt"_s))) << "the script was not run";
}

TEST_F(TaskJourney, TheOwnersEditorOutlivesTheTask) {
    EXPECT_EQ(run({HAIKU}).status, 0);
    EXPECT_FALSE(marked().isEmpty());
}

TEST_F(TaskJourney, ThreeTasksLeaveOneNotification) {
    teach("task: say it\nwords: say\n\n=== 1\nDONE: said\n");
    run({u"say it"_s});
    const auto displayed = [this] {
        const auto count = Process::make({.program = u"/usr/bin/dunstctl"_s,
                                          .arguments = {u"count"_s, u"displayed"_s},
                                          .environment = m_environment});
        EXPECT_TRUE(count->start());
        return end(count).out.trimmed();
    };
    EXPECT_EQ(displayed(), u"1"_s);
    run({u"say it"_s});
    EXPECT_EQ(run({u"say it"_s}).status, 0);
    EXPECT_EQ(displayed(), u"1"_s);
}

TEST_F(TaskJourney, AScriptWithAnErrorIsCorrectedOnTheNextTurn) {
    const auto finished = run({u"say how many lines the hosts file has"_s});
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"(-1700)"_s)) << finished.out.toStdString();
    const auto lines = contents(u"/etc/hosts"_s).count('\n');
    EXPECT_TRUE(finished.out.contains(u"The hosts file has %1 lines."_s.arg(lines))) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"✓ I counted the lines"_s)) << finished.out.toStdString();
}

TEST_F(TaskJourney, TheStepLimitEndsATaskThatGoesOn) {
    teach("task: go on\nwords: go\n\n=== 1\nOn.\n\n```applescript\nreturn 1\n```\n\n=== 2\nOn.\n\n```applescript\n"
          "return 2\n```\n");
    const auto finished = run({u"--max-steps"_s, u"2"_s, u"go on"_s});
    EXPECT_EQ(finished.status, 1);
    EXPECT_TRUE(finished.out.contains(u"hit max steps (2)"_s)) << finished.out.toStdString();
}

TEST_F(TaskJourney, ACancelEndsTheScriptButNotTheEditorItOpened) {
    const auto file = m_scratch.write(u"note.txt"_s, "note\n");
    const auto pidFile = m_scratch.path(u"pid"_s);
    teach(u"task: wait\nwords: wait\n\n=== 1\nI wait.\n\n```applescript\ntell application \"TextEdit\"\n"
          "open POSIX file \"%1\"\nend tell\ndo shell script \"echo $$ > '%2'; sleep 600; true\"\n```\n"_s
              .arg(file, pidFile)
              .toUtf8());
    const auto process = start({u"wait"_s});
    const auto shell = pidIn(pidFile);
    ASSERT_GT(shell, 0);
    process->terminate();
    EXPECT_EQ(end(process).status, 130);
    EXPECT_TRUE(waitUntil([&] { return !isAlive(shell); }));
    const QStringList ended = {u"osascript"_s, u"sh"_s, u"dash"_s, u"sleep"_s, u"ombru-rehearsed-agent"_s};
    QStringList left;
    const auto onlyTheEditor = [&] {
        left = markedPrograms();
        return std::ranges::none_of(ended, [&](const QString &name) { return left.contains(name); });
    };
    EXPECT_TRUE(waitUntil(onlyTheEditor)) << left.join(u' ').toStdString();
    EXPECT_TRUE(left.contains(u"mousepad"_s)) << left.join(u' ').toStdString();
}
