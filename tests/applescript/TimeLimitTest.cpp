// `with timeout`: how long an event may take, and what a script hears when it took longer.
#include "applescript/Osascript.h"
#include "tests/support/ScriptedHost.h"

#include <QBuffer>

#include <gtest/gtest.h>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

const QString COMPUTER = u"application org.example.editor Editor\n"
                         "process 11 org.example.editor Editor\n"_s;

class TimeLimit : public ::testing::Test {
protected:
    QString run(const QString &script, const QString &computer) {
        host.emplace(COMPUTER + computer);
        QByteArray input = script.toUtf8(), output, errors;
        QBuffer in(&input), out(&output), err(&errors);
        in.open(QIODevice::ReadOnly);
        out.open(QIODevice::WriteOnly);
        err.open(QIODevice::WriteOnly);
        runOsascript({u"-"_s}, in, out, err, *host);
        return QString::fromUtf8(output + errors).section(u"execution error: "_s, -1).trimmed();
    }
    static QString within(const QString &seconds, const QString &statement) {
        return u"with timeout of %1 seconds\n%2\nend timeout\nreturn \"done\""_s.arg(seconds, statement);
    }

    std::optional<ScriptedHost> host;
};

const QString ACTIVATE = u"tell application \"Editor\" to activate"_s;
const QString LATE = u"Editor got an error: AppleEvent timed out. (-1712)"_s;

} // namespace

TEST_F(TimeLimit, AnEventThatTakesLongerHasFailed) {
    EXPECT_EQ(run(within(u"5"_s, ACTIVATE), u"slow activate 6\n"_s), LATE);
    EXPECT_EQ(host->calls, QStringList{u"activate org.example.editor"_s});
    EXPECT_EQ(run(within(u"5"_s, ACTIVATE), u"slow activate 4\n"_s), u"done"_s);
}

TEST_F(TimeLimit, TheOwnersAnswerIsPartOfTheEvent) {
    EXPECT_EQ(run(within(u"5"_s, ACTIVATE), u"slow authorize 6\nrefuse org.example.editor\n"_s), LATE);
    EXPECT_EQ(host->calls, QStringList());
    EXPECT_TRUE(run(within(u"5"_s, ACTIVATE), u"slow authorize 4\nrefuse org.example.editor\n"_s).endsWith(u"(-1743)"));
}

TEST_F(TimeLimit, AFailureThatCameTooLateIsATimeOut) {
    EXPECT_EQ(run(within(u"5"_s, ACTIVATE), u"slow activate 6\nfail activate -600 not running\n"_s), LATE);
}

TEST_F(TimeLimit, EachEventHasAllOfIt) {
    EXPECT_EQ(run(within(u"5"_s, ACTIVATE + u'\n' + ACTIVATE), u"slow activate 4\n"_s), u"done"_s);
}

TEST_F(TimeLimit, TheHostWaitsNoLongerThanThat) {
    run(within(u"5"_s, ACTIVATE) + u'\n' + ACTIVATE, u"slow activate 1\n"_s);
    ASSERT_EQ(host->limits.size(), 2);
    ASSERT_TRUE(host->limits[0]);
    EXPECT_EQ(*host->limits[0] - (Clock::now() - std::chrono::seconds(1)), std::chrono::seconds(5));
    EXPECT_FALSE(host->limits[1]) << "it ends with the event";
}

TEST_F(TimeLimit, TheInnermostOneCountsAndEndsWithItsBlock) {
    const auto inner = within(u"2"_s, ACTIVATE).section(u"\nreturn"_s, 0, 0);
    EXPECT_EQ(run(within(u"5"_s, inner), u"slow activate 3\n"_s), LATE);
    const auto before = within(u"2"_s, u"try\nerror 1\nend try"_s).section(u"\nreturn"_s, 0, 0);
    EXPECT_EQ(run(before + u'\n' + ACTIVATE + u"\nreturn \"done\""_s, u"slow activate 3\n"_s), u"done"_s);
}

TEST_F(TimeLimit, AScriptCanCatchIt) {
    EXPECT_EQ(run(u"try\n%1\non error message number code\nreturn code\nend try"_s.arg(
                      within(u"0.5"_s, ACTIVATE).section(u"\nreturn"_s, 0, 0)),
                  u"slow activate 1\n"_s),
              u"-1712"_s);
}

TEST_F(TimeLimit, WhatIsNoEventTakesAsLongAsItTakes) {
    EXPECT_EQ(run(within(u"1"_s, u"do shell script \"x\"\ndisplay dialog \"y\""_s),
                  u"slow shell 9\nslow ask 9\nanswer 1\n"_s),
              u"done"_s);
    EXPECT_TRUE(host->limits.empty());
}

} // namespace ombru::applescript
