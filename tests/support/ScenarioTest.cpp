#include "tests/support/rehearsed/Scenario.h"

#include "tests/support/rehearsed/Message.h"
#include "tests/support/rehearsed/Options.h"

#include <gtest/gtest.h>

using namespace ombru::rehearsed;
using namespace Qt::StringLiterals;

namespace {

Scenario parsed(const QString &body) {
    const auto scenario = parseScenario(u"x"_s, u"task: a thing\nwords: thing\n"_s + body);
    EXPECT_TRUE(scenario) << (scenario ? "" : scenario.error().description.toStdString());
    return scenario.value_or(Scenario{});
}

QString refused(const QString &text) {
    const auto scenario = parseScenario(u"x"_s, text);
    EXPECT_FALSE(scenario);
    return scenario ? QString() : scenario.error().description;
}

QString refusedOption(const QStringList &arguments) {
    const auto options = parseOptions(arguments, {});
    EXPECT_FALSE(options);
    return options ? QString() : options.error().description;
}

Scenario knowing(const QString &words) {
    Scenario scenario;
    scenario.name = words;
    scenario.words = words.split(u' ');
    return scenario;
}

} // namespace

TEST(Scenario, KeepsTheReplyAsItIsWritten) {
    const auto scenario = parsed(u"=== 1\nSee:\n\n```applescript\n\tbeep -- @not a directive\n@nor this\n```\n"_s);
    ASSERT_EQ(scenario.answers.size(), 1);
    EXPECT_EQ(scenario.answers[0].text, u"See:\n\n```applescript\n\tbeep -- @not a directive\n@nor this\n```"_s);
}

TEST(Scenario, ReadsWindowsLineEnds) {
    const auto scenario = parseScenario(u"x"_s, u"task: a\r\nwords: b c\r\n=== 1\r\n@hang\r\nhello\r\n"_s);
    ASSERT_TRUE(scenario);
    EXPECT_EQ(scenario->words, QStringList({u"b"_s, u"c"_s}));
    EXPECT_TRUE(scenario->answers[0].behaviour.hang);
    EXPECT_EQ(scenario->answers[0].text, u"hello"_s);
}

TEST(Scenario, KnowsEveryDirective) {
    const auto scenario =
        parsed(u"account: nobody\nwithout: --resume\n=== 2\n@delay 300\n@hang\n@error\n@raw\n@no-session\n"
               "@crlf\n@delete-self\n@pad 2\n@crash SIGSEGV\n@exit 3\n@stderr two words\n@next 7\nok"_s);
    EXPECT_EQ(scenario.account, u"nobody"_s);
    EXPECT_EQ(scenario.without, QStringList(u"--resume"_s));
    const auto &answer = scenario.answers[0];
    const auto &behaviour = answer.behaviour;
    EXPECT_EQ(answer.turn, 2);
    EXPECT_EQ(answer.next, 7);
    EXPECT_EQ(behaviour.delay, std::chrono::milliseconds(300));
    EXPECT_TRUE(behaviour.hang && behaviour.isError && behaviour.raw && behaviour.noSession);
    EXPECT_TRUE(behaviour.windowsLineEnds && behaviour.deleteSelf);
    EXPECT_EQ(behaviour.padding, 2'000'000);
    EXPECT_EQ(behaviour.crash, 11);
    EXPECT_EQ(behaviour.exitStatus, 3);
    EXPECT_EQ(behaviour.standardError, u"two words"_s);
}

TEST(Scenario, TakesTheFirstAnswerWhoseConditionHolds) {
    const auto scenario =
        parsed(u"=== 1\na\n=== 2 when failure\nb\n=== 2 when the message has \"rain\"\nc\n=== 2 when success\nd"_s);
    const auto answer = [&](int turn, const QString &message) {
        const auto *found = answerFor(scenario, turn, message);
        return found ? found->text : u"none"_s;
    };
    EXPECT_EQ(answer(1, u"anything"_s), u"a"_s);
    EXPECT_EQ(answer(2, u"Result of your last AppleScript (failure):\nrain"_s), u"b"_s);
    EXPECT_EQ(answer(2, u"Result of your last AppleScript (success):\nrain"_s), u"c"_s);
    EXPECT_EQ(answer(2, u"Result of your last AppleScript (success):\n"_s), u"d"_s);
    EXPECT_EQ(answer(2, u"anything"_s), u"none"_s);
    EXPECT_EQ(answer(3, u"anything"_s), u"none"_s);
}

TEST(Scenario, SaysWhichLineIsWrong) {
    EXPECT_EQ(refused(u"task: a\nwords: a\n=== 1\n@dealy 3\n"_s), u"x:4: no such directive: @dealy 3"_s);
    EXPECT_EQ(refused(u"task: a\nwords: a\n=== 1\n@exit 300\n"_s), u"x:4: no such directive: @exit 300"_s);
    EXPECT_EQ(refused(u"task: a\nwords: a\n=== 1\n@crash SIGNONE\n"_s), u"x:4: no such directive: @crash SIGNONE"_s);
    EXPECT_EQ(refused(u"task: a\nturns: 3\n"_s),
              u"x:2: expected \"task:\", \"words:\", \"account:\" or \"without:\": turns: 3"_s);
    EXPECT_TRUE(refused(u"task: a\nwords: a\n=== one\n"_s).startsWith(u"x:3: an answer begins"_s));
    EXPECT_TRUE(refused(u"task: a\nwords: a\n=== 1 when later\n"_s).startsWith(u"x:3: an answer begins"_s));
    EXPECT_EQ(refused(u"words: a\n=== 1\nhello\n"_s), u"x:1: a scenario needs \"task:\" and \"words:\""_s);
}

TEST(Scenario, IsChosenByMostMatchingWholeWords) {
    const QList<Scenario> scenarios{knowing(u"haiku"_s), knowing(u"haiku rain"_s), knowing(u"über"_s)};
    const auto chosen = [&](const QString &task) {
        const auto *scenario = scenarioFor(scenarios, task);
        return scenario ? scenario->name : u"none"_s;
    };
    EXPECT_EQ(chosen(u"Write a HAIKU about rain."_s), u"haiku rain"_s);
    EXPECT_EQ(chosen(u"Write a haiku about trains"_s), u"haiku"_s);
    EXPECT_EQ(chosen(u"ÜBER"_s), u"über"_s);
    EXPECT_EQ(chosen(u"haikus"_s), u"none"_s);
}

TEST(Scenario, ThatIsNotThereIsNamed) {
    const auto scenarios = loadScenarios(u"/nowhere/a.scenario"_s);
    ASSERT_FALSE(scenarios);
    EXPECT_EQ(scenarios.error().description,
              u"cannot read the scenario /nowhere/a.scenario: No such file or directory"_s);
}

TEST(Message, OfAFirstTurnIsTakenApart) {
    const auto message = parseMessage(u"USER TASK: do this\nand that\nScreenshot (step 1): /tmp/a b.png\n"
                                      "Image size: 1568x882 px.\nScreen size: 1920x1080 points. To convert ..."_s);
    EXPECT_EQ(message.task, u"do this\nand that"_s);
    EXPECT_EQ(message.screenshot, u"/tmp/a b.png"_s);
    EXPECT_EQ(message.image, QSize(1568, 882));
    EXPECT_EQ(message.points, QSize(1920, 1080));
}

TEST(Message, OfALaterTurnHasNoTask) {
    EXPECT_FALSE(parseMessage(u"Result of your last AppleScript (success):\nUSER TASK: x"_s).task);
}

TEST(Options, AreThoseOfATurn) {
    const auto options = parseOptions({u"-p"_s, u"look"_s, u"--output-format"_s, u"json"_s, u"--tools"_s, u"Read"_s,
                                       u"--allowedTools"_s, u"Read"_s, u"--append-system-prompt"_s, u"--be brief"_s,
                                       u"--resume"_s, u"s"_s, u"--model"_s, u"m"_s},
                                      {});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->prompt, u"look"_s);
    EXPECT_TRUE(options->json);
    EXPECT_EQ(options->tools, QStringList(u"Read"_s));
    EXPECT_EQ(options->systemPrompt, u"--be brief"_s);
    EXPECT_EQ(options->resume, u"s"_s);
    EXPECT_EQ(options->model, u"m"_s);
}

TEST(Options, AreRefusedInTheToolsOwnWords) {
    EXPECT_EQ(refusedOption({u"--frob"_s}), u"error: unknown option '--frob'"_s);
    EXPECT_EQ(refusedOption({u"-p"_s, u"hi"_s, u"--model"_s}), u"error: option '--model <model>' argument missing"_s);
    EXPECT_EQ(refusedOption({u"auth"_s, u"nonsense"_s}), u"error: unknown command 'nonsense'"_s);
    EXPECT_EQ(refusedOption({u"-p"_s, u"hi"_s, u"--output-format"_s, u"xml"_s}),
              u"error: option '--output-format <format>' argument 'xml' is invalid. Allowed choices are text, json."_s);
    EXPECT_EQ(refusedOption({u"-p"_s, QString()}),
              u"error: Input must be provided either through stdin or as a prompt argument when using --print"_s);
}

TEST(Options, AToolTooOldForOneNeitherTakesNorShowsIt) {
    const QStringList without{u"--allowedTools"_s};
    EXPECT_FALSE(helpText(without).contains(u"--allowedTools"_s));
    EXPECT_TRUE(helpText({}).contains(u"--allowedTools"_s));
    EXPECT_FALSE(parseOptions({u"-p"_s, u"hi"_s, u"--allowedTools"_s, u"Read"_s}, without));
}
