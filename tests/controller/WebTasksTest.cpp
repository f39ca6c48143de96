// What the web page asks for, and what it is told, over a real channel.

#include "tests/controller/LinkFixture.h"

#include <QJsonDocument>

using namespace ombru;
using namespace Qt::StringLiterals;
using test::settle;
using test::waitUntil;
using Outcome = TaskResult::Outcome;

namespace {

class WebTasks : public test::LinkFixture {
protected:
    WebTasks() {
        boot();
        EXPECT_TRUE(waitUntil([this] { return service.frameCount() == 2; }));
    }
    void say(const QByteArray &json) { service.newest().sendText(json); }
    // What the page heard, without hello and the first state.
    std::vector<QJsonObject> heard_() const {
        std::vector<QJsonObject> messages;
        for (std::size_t at = 2; at < service.frameCount(); ++at)
            messages.push_back(QJsonDocument::fromJson(service.channels.back()->frames[at].payload).object());
        return messages;
    }
    QStringList kindsAndTexts() const {
        QStringList result;
        for (const auto &message : heard_())
            if (message[u"type"_s] == u"event"_s)
                result.append(message[u"kind"_s].toString() + u": "_s + message[u"text"_s].toString());
        return result;
    }
    // The channel has done what came before.
    void catchUp() {
        state->emit(u"mark"_s, EventKind::good);
        ASSERT_TRUE(waitUntil([this] { return kindsAndTexts().contains(u"good: mark"_s); }));
    }
};

} // namespace

TEST_F(WebTasks, ATaskRunsAndItsLinesAreMirrored) {
    answerQuestions({block(u"one"_s, u"Now."_s), u"DONE: ok"_s});
    say(R"({"type": "task", "text": "  open it \n"})");
    ASSERT_TRUE(waitUntil([this] { return state->lastResult().has_value(); }));
    EXPECT_EQ(finish(), (TaskResult{Outcome::done, u"ok"_s}));
    catchUp();
    const auto lines = kindsAndTexts();
    EXPECT_EQ(lines.value(0), u"user: web ❯ open it"_s);
    EXPECT_TRUE(lines.contains(u"claude: claude: Now."_s));
    EXPECT_TRUE(lines.contains(u"code: script:\none"_s));
    EXPECT_TRUE(lines.contains(u"good: ✓ ok"_s));
    for (const auto &line : lines)
        EXPECT_FALSE(line.startsWith(u"dim: "_s) || line.startsWith(u"rule: "_s)) << line.toStdString();
    const auto messages = heard_();
    EXPECT_EQ(messages.at(0)[u"type"_s], u"state"_s) << "accepted: the state comes first";
    EXPECT_EQ(messages.at(0)[u"busy"_s], true);
    EXPECT_EQ(std::ranges::count_if(messages, [](const auto &each) { return each[u"type"_s] == u"screenshot"_s; }), 2);
    EXPECT_EQ(questions(), 2);
}

TEST_F(WebTasks, BlanksAreNoTask) {
    say(R"({"type": "task", "text": " \n\t"})");
    say(R"({"type": "task"})");
    say(R"({"type": "task", "text": 7})");
    catchUp();
    EXPECT_EQ(kindsAndTexts(), QStringList{u"good: mark"_s});
    EXPECT_FALSE(state->busy);
}

TEST_F(WebTasks, OneThatComesWhileAnotherRunsIsAnsweredAndNothingElse) {
    answerQuestions({u"DONE: ok"_s}, true);
    say(R"({"type": "task", "text": "one"})");
    ASSERT_TRUE(waitUntil([this] { return bool(state->busy); }));
    say(R"({"type": "task", "text": "two"})");
    ASSERT_TRUE(waitUntil([this] {
        return kindsAndTexts().contains(u"warn: Still working on the last task — press Stop to cancel it."_s);
    }));
    go();
    EXPECT_EQ(finish().answer, u"ok"_s);
    EXPECT_EQ(questions(), 1);
    EXPECT_FALSE(kindsAndTexts().contains(u"user: web ❯ two"_s));
}

TEST_F(WebTasks, StopCancelsAndSaysSo) {
    answerQuestions({u"DONE: ok"_s}, true);
    say(R"({"type": "task", "text": "one"})");
    ASSERT_TRUE(waitUntil([this] { return state->status() == u"Claude is thinking…"_s; }));
    say(R"({"type": "cancel"})");
    ASSERT_TRUE(waitUntil([this] { return !state->busy; }));
    EXPECT_EQ(finish().outcome, Outcome::cancelled);
    catchUp();
    const auto lines = kindsAndTexts();
    EXPECT_TRUE(lines.contains(u"warn: Stop pressed on the website — cancelling"_s));
    EXPECT_LT(lines.indexOf(u"warn: Stop pressed on the website — cancelling"_s), lines.indexOf(u"warn: cancelled"_s));
}

TEST_F(WebTasks, StopWhileIdleDoesNothing) {
    say(R"({"type": "cancel"})");
    catchUp();
    EXPECT_EQ(kindsAndTexts(), QStringList{u"good: mark"_s});
    EXPECT_EQ(state->status(), u"idle"_s);
}

TEST_F(WebTasks, WhatNobodyKnowsIsIgnored) {
    for (const auto *message : {"{}", R"({"type": "Task", "text": "x"})", R"({"type": 1})", "[]", "nonsense"})
        say(message);
    catchUp();
    EXPECT_EQ(kindsAndTexts(), QStringList{u"good: mark"_s});
}

TEST_F(WebTasks, AnEventCarriesItsKindTextAndTime) {
    const auto before = Clock::unixSeconds();
    state->emit(u"not so good"_s, EventKind::warn);
    state->emit(u"quiet"_s, EventKind::dim);
    catchUp();
    const auto messages = heard_();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0][u"kind"_s], u"warn"_s);
    EXPECT_EQ(messages[0][u"text"_s], u"not so good"_s);
    EXPECT_GE(messages[0][u"ts"_s].toDouble(), before);
    EXPECT_LE(messages[0][u"ts"_s].toDouble(), Clock::unixSeconds());
}

TEST_F(WebTasks, ALostChannelIsShownAsLost) {
    service.newest().hangUp();
    EXPECT_TRUE(waitUntil([this] { return !state->agentConnected(); }));
}
