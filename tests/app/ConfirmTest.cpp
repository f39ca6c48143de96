// `ombru run --confirm` on a terminal: what its owner answers is what happens to the script.
#include "app/cli/ScriptPrompt.h"
#include "tests/app/ResidentJourney.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using enum ScriptDecision::Choice;

class Confirm : public ResidentJourney {
protected:
    // On a terminal; `answers` is what a shell does: answer N TEXT types the text once it was asked so often. The
    // terminal and what claude and ombru leave are in files of the scratch directory.
    Finished confirm(const QByteArray &answers, const QByteArray &options = "") {
        m_environment["TERM"] = "xterm";
        m_environment["OMBRU"] = bin(u"ombru"_s).toUtf8();
        const auto line = "mkfifo keys\nenv --default-signal=INT script -qefc '\"$OMBRU\" run --confirm " + options +
                          " go' log <keys >/dev/null & exec 3>keys\n"
                          "asked() { until [ \"$(grep -c 'Run it?' log)\" -ge \"$1\" ]; do sleep 0.05; done; }\n"
                          "answer() { asked \"$1\"; printf \"$2\" >&3; }\n" +
                          answers + "\nwait $!; status=$?; cat log; exit $status";
        const auto shell = Process::make({.program = u"/bin/sh"_s,
                                          .arguments = {u"-c"_s, QString::fromUtf8(line)},
                                          .directory = m_scratch.directory(),
                                          .environment = m_environment});
        EXPECT_TRUE(shell->start());
        return end(shell);
    }
    // The message that claude was sent then.
    QByteArray question(int number) const { return contents(m_scratch.path(u"claude/question.%1"_s.arg(number))); }
    QString script(int number) const {
        return u"I go on.\n```applescript\ndo shell script \"echo %1 >>'%2'\"\n```"_s.arg(QString::number(number),
                                                                                          m_scratch.path(u"ran"_s));
    }
    QByteArray ran() const { return contents(m_scratch.path(u"ran"_s)); }
};

TEST(ScriptPrompt, AnAnswerIsALetterOrAWord) {
    EXPECT_EQ(decisionOf(u"r\n"_s), ScriptDecision{run});
    EXPECT_EQ(decisionOf(u"Run"_s), ScriptDecision{run});
    EXPECT_EQ(decisionOf(u"s\n"_s), ScriptDecision{skip});
    EXPECT_EQ(decisionOf(u"skip  use the menu \n"_s), (ScriptDecision{skip, u"use the menu"_s}));
    EXPECT_EQ(decisionOf(u"q"_s), ScriptDecision{stop});
    EXPECT_EQ(decisionOf(u"stop"_s), ScriptDecision{stop});
    for (const auto &nothing : {u""_s, u"\n"_s, u"y"_s, u"run it not"_s, u"stop that one"_s})
        EXPECT_EQ(decisionOf(nothing), std::nullopt) << nothing.toStdString();
}

TEST_F(Confirm, OnlyWhatTheOwnerLetsRunRunsAndTheAgentHearsWhy) {
    reply({script(1), script(2), u"DONE: ok"_s});
    const auto finished = confirm("answer 1 's not that one\\n'; answer 2 'r\\n'");
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_EQ(ran(), "2\n");
    EXPECT_TRUE(
        question(2).contains("Result of your last AppleScript (failure):\nNot run: the user looked at this script "
                             "and skipped it, saying: not that one\n"))
        << question(2).toStdString();
    EXPECT_TRUE(question(3).contains("Result of your last AppleScript (success):")) << question(3).toStdString();
}

TEST_F(Confirm, AnythingElseIsAskedAgain) {
    reply({script(1), u"DONE: ok"_s});
    EXPECT_EQ(confirm("answer 1 '\\n'; answer 2 'yes\\n'; answer 3 'q\\n'").status, 130);
    EXPECT_EQ(ran(), "");
}

TEST_F(Confirm, WhatWasTypedBeforeIsNoAnswer) {
    reply({script(1), u"DONE: ok"_s});
    playQuestions("echo >\"$HOME/thinks\"; until [ -e \"$HOME/typed\" ]; do sleep 0.05; done; cat \"$d/reply.$n\"");
    const auto finished = confirm("until [ -e thinks ]; do sleep 0.05; done; printf 'RUN\\n' >&3\n"
                                  "until grep -q RUN log; do sleep 0.05; done; echo >typed; answer 1 'q\\n'");
    EXPECT_EQ(finished.status, 130) << finished.out.toStdString();
    EXPECT_EQ(ran(), "");
}

TEST_F(Confirm, CtrlCStopsWhileItAsks) {
    reply({script(1)});
    EXPECT_EQ(confirm("answer 1 '\\003'").status, 130);
    EXPECT_EQ(ran(), "");
}

TEST_F(Confirm, TheEndOfWhatIsTypedIsAStop) {
    reply({script(1)});
    EXPECT_EQ(confirm("answer 1 '\\004'").status, 130);
    EXPECT_EQ(ran(), "");
}

TEST_F(Confirm, WhatCannotBeSeenIsShown) {
    reply({u"```applescript\nreturn 1 -- \u202e\u200b\n```"_s});
    EXPECT_TRUE(confirm("answer 1 'q\\n'").out.contains(u"return 1 -- «U+202E»«U+200B»"_s));
}

TEST_F(Confirm, BesideTheApplicationThisProcessAsks) {
    m_application = startApplication();
    ASSERT_TRUE(waitUntil([this] { return QFile::exists(socket()); }));
    reply({script(1), u"DONE: ok"_s});
    const auto finished = confirm("answer 1 'r\\n'");
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"This process does the task, not the application"_s))
        << finished.out.toStdString();
    EXPECT_EQ(ran(), "1\n");
}

TEST_F(Confirm, WithoutATerminalNothingIsBegun) {
    reply({script(1)});
    const auto finished = run({u"--confirm"_s, u"go"_s});
    EXPECT_EQ(finished.status, 2);
    EXPECT_TRUE(finished.out.contains(u"--confirm asks on the terminal"_s)) << finished.out.toStdString();
    EXPECT_EQ(run({u"--confirm"_s, u"--json"_s, u"go"_s}).status, 2);
    EXPECT_EQ(run({u"--confirm"_s, u"--detach"_s, u"go"_s}).status, 2);
    EXPECT_EQ(question(1), "");
}
