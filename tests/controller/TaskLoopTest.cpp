#include "controller/KeptConversation.h"
#include "controller/Prompts.h"
#include "tests/controller/LoopFixture.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using Outcome = TaskResult::Outcome;

namespace {
const QString RULE = QString(40, u'─');
} // namespace

using TaskLoopTest = test::LoopFixture;

TEST_F(TaskLoopTest, AFinalAnswerEndsTheTaskAfterOneTurn) {
    const ManualClock clock; // a busy machine needs more than no seconds
    reply({u"DONE: All set.\nSecond line."_s});
    const auto result = runTask(u"do it"_s);
    EXPECT_EQ(result, (TaskResult{Outcome::done, u"All set.\nSecond line."_s}));
    EXPECT_EQ(plainEvents(), (QStringList{u"user: you ❯ do it"_s, u"rule: ── step 1/15 "_s + RULE,
                                          u"good: ✓ All set.\nSecond line."_s, u"dim: finished in 1 step · 0s"_s}));
    EXPECT_EQ(state->status(), u"✓ All set."_s);
    EXPECT_EQ(state->step(), 1);
    EXPECT_EQ(state->lastEvent(), u"✓ All set."_s);
}

TEST_F(TaskLoopTest, AScriptIsRunAndItsResultIsTheNextMessage) {
    reply({block(u"return 6 * 7"_s, u"**First**, I count. Then more."_s), u"DONE: 42"_s});
    osascript.play(1, "printf 42");
    EXPECT_EQ(runTask(u"count"_s).answer, u"42"_s);
    EXPECT_EQ(osascript.input(1), "return 6 * 7");
    const auto plain = plainEvents();
    ASSERT_EQ(plain.size(), 8);
    EXPECT_EQ(plain[2], u"claude: claude: **First**, I count. Then more."_s);
    EXPECT_EQ(plain[3], u"code: script:\nreturn 6 * 7"_s);
    EXPECT_TRUE(plain[4].startsWith(u"result: ✓ script ok ("_s) && plain[4].endsWith(u"s): 42"_s));
    EXPECT_EQ(plain[5], u"rule: ── step 2/15 "_s + RULE);
    EXPECT_TRUE(plain[7].startsWith(u"dim: finished in 2 steps · "_s));
    EXPECT_TRUE(message(2).startsWith(u"Result of your last AppleScript (success):\n42\nScreenshot (step 2): "_s));
}

TEST_F(TaskLoopTest, TheMessageNamesTheTaskThePictureAndTheScale) {
    reply({u"DONE: ok"_s});
    runTask(u"look"_s);
    const auto lines = message(1).split(u'\n');
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0], u"USER TASK: look"_s);
    const auto directory = home.filePath(u".local/share/ombru/screenshots/"_s);
    ASSERT_TRUE(lines[1].startsWith(u"Screenshot (step 1): "_s + directory + u"shot_"_s));
    EXPECT_TRUE(lines[1].endsWith(u"_001.png"_s));
    EXPECT_TRUE(QFile::exists(lines[1].sliced(21)));
    EXPECT_EQ(lines[2], u"Image size: 1568x1176 px."_s);
    EXPECT_EQ(lines[3],
              u"Screen size: 1512x982 points. To convert image px -> screen points multiply x by 0.964 and y by "
              u"0.835."_s);
}

TEST_F(TaskLoopTest, ClaudeIsAskedWithThePromptAndTheModelInForce) {
    reply({u"DONE: ok"_s, u"DONE: ok"_s});
    runTask(u"one"_s);
    EXPECT_EQ(claude.arguments(1).sliced(2),
              (QStringList{u"--output-format"_s, u"json"_s, u"--tools"_s, u"Read"_s, u"--allowedTools"_s, u"Read"_s,
                           u"--append-system-prompt"_s, FALLBACK_PROMPT}));
    ASSERT_TRUE(state->settings.cachedPrompt.write(u"cached"_s));
    ASSERT_TRUE(state->settings.model.write(u"small"_s));
    runTask(u"two"_s);
    EXPECT_EQ(claude.arguments(2).sliced(8), (QStringList{u"--append-system-prompt"_s, u"cached"_s, u"--resume"_s,
                                                          u"session-1"_s, u"--model"_s, u"small"_s}));
}

TEST_F(TaskLoopTest, ALaterTaskContinuesTheConversationUntilANewSession) {
    reply({u"DONE: 1"_s, u"DONE: 2"_s, u"DONE: 3"_s});
    runTask(u"one"_s);
    EXPECT_FALSE(claude.arguments(1).contains(u"--resume"_s));
    runTask(u"two"_s);
    EXPECT_TRUE(claude.arguments(2).contains(u"--resume"_s));
    state->newSession();
    EXPECT_EQ(events.last(), u"warn: started a fresh Claude session"_s);
    runTask(u"three"_s);
    EXPECT_FALSE(claude.arguments(3).contains(u"--resume"_s));
}

TEST_F(TaskLoopTest, ANewSessionDuringAQuestionStaysNew) {
    reply({block(u"return 1"_s), u"DONE: 2"_s, u"DONE: 3"_s});
    claude.play(1, "touch \"$d/asked\"; until [ -e \"$d/go\" ]; do sleep 0.01; done; cat \"$d/reply.1\"\n");
    state->startTask(u"one"_s);
    ASSERT_TRUE(test::waitUntil([this] { return QFile::exists(claude.pathOf(u"asked"_s)); }));
    state->newSession();
    claude.file(u"go"_s, {});
    EXPECT_EQ(finish().answer, u"2"_s);
    EXPECT_FALSE(claude.arguments(2).contains(u"--resume"_s)) << "the late reply brought the old conversation back";
    runTask(u"two"_s);
    EXPECT_TRUE(claude.arguments(3).contains(u"--resume"_s)) << "the new one goes on";
}

TEST_F(TaskLoopTest, AReplyThatNamesNoConversationBeginsAnother) {
    reply({u"DONE: 1"_s, u"DONE: 2"_s, u"DONE: 3"_s});
    claude.play(2, "echo '{\"result\":\"DONE: 2\"}'");
    runTask(u"one"_s);
    runTask(u"two"_s);
    EXPECT_TRUE(claude.arguments(2).contains(u"--resume"_s));
    runTask(u"three"_s);
    EXPECT_FALSE(claude.arguments(3).contains(u"--resume"_s));
}

TEST_F(TaskLoopTest, AReplyWithTwoBlocksRunsOnlyTheFirstAndLogsNeither) {
    reply({block(u"first"_s, u"A."_s) + u"\n"_s + block(u"second"_s, u"B."_s), u"DONE: ok"_s});
    runTask(u"go"_s);
    EXPECT_EQ(osascript.calls(), 1);
    EXPECT_EQ(osascript.input(1), "first");
    EXPECT_EQ(plainEvents()[2], u"claude: claude: A.\n\nB."_s);
}

TEST_F(TaskLoopTest, DoneInLowerCaseIsFinalToo) {
    reply({u"done: fine"_s});
    EXPECT_EQ(runTask(u"go"_s).answer, u"fine"_s);
    EXPECT_TRUE(events.contains(u"good: ✓ fine"_s));
}

TEST_F(TaskLoopTest, OnlyDoneShowsNoReplyAndAnswersDone) {
    reply({u"DONE:"_s});
    EXPECT_EQ(runTask(u"go"_s).answer, u"Done."_s);
    EXPECT_TRUE(events.contains(u"good: ✓ (no reply)"_s));
    EXPECT_EQ(state->status(), u"✓ (no reply)"_s);
}

TEST_F(TaskLoopTest, AReplyWithoutBlockAndWithoutDoneEndsTheTaskToo) {
    reply({u"I cannot do that."_s});
    EXPECT_EQ(runTask(u"go"_s), (TaskResult{Outcome::answered, u"I cannot do that."_s}));
    EXPECT_TRUE(events.contains(u"claude: claude: I cannot do that."_s));
    EXPECT_EQ(state->status(), u"I cannot do that."_s);
}

TEST_F(TaskLoopTest, AReplyThatLooksAsIfItDidSomethingIsSaidToHaveDoneNothing) {
    reply({u"I press it.\n```applescript\nbeep"_s});
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::answered);
    EXPECT_TRUE(events.contains(u"warn: The reply has a block that is not closed: nothing of it was run."_s));
    EXPECT_EQ(osascript.calls(), 0);
}

TEST_F(TaskLoopTest, OfTwoScriptsTheSecondIsNamedAsNotRun) {
    reply({block(u"beep 1"_s) + block(u"beep 2"_s), u"DONE: ok"_s});
    runTask(u"go"_s);
    EXPECT_TRUE(events.contains(u"warn: The reply has 2 scripts: only the first is run."_s));
    EXPECT_EQ(osascript.calls(), 1);
}

TEST_F(TaskLoopTest, TheConversationIsKeptForAnotherProcessUntilANewSession) {
    EXPECT_FALSE(state->goOnWithLastConversation());
    reply({u"DONE: ok"_s, u"DONE: ok"_s});
    runTask(u"one"_s);
    EXPECT_TRUE(QFile::exists(home.filePath(u".local/state/ombru/conversation"_s)));
    AppState other;
    EXPECT_TRUE(other.goOnWithLastConversation());
    other.startTask(u"two"_s);
    EXPECT_TRUE(test::waitUntil([&] { return !other.busy; }));
    EXPECT_TRUE(claude.arguments(2).join(u' ').contains(u"--resume session-1"_s));
    test::await(other.drain());
    AppState third;
    third.newSession();
    EXPECT_FALSE(third.goOnWithLastConversation());
    EXPECT_EQ(keptConversation(), std::nullopt);
    test::await(third.drain());
}

TEST_F(TaskLoopTest, AKeptConversationThatCouldBeAnOptionIsNone) {
    QDir(home.path()).mkpath(u".local/state/ombru"_s);
    const auto kept = [this](const QByteArray &bytes) {
        QFile file(home.filePath(u".local/state/ombru/conversation"_s));
        EXPECT_TRUE(file.open(QFile::WriteOnly));
        file.write(bytes);
        file.close();
        return keptConversation();
    };
    EXPECT_EQ(kept("0a1b-2c"), u"0a1b-2c"_s);
    for (const QByteArray bytes : {"--dangerous", "", "a b", "../x", "\xff"})
        EXPECT_EQ(kept(bytes), std::nullopt) << bytes.constData();
}

TEST_F(TaskLoopTest, WithOneStepTheScriptStillRunsAndTheTaskThenStops) {
    ASSERT_TRUE(state->settings.maxSteps.write(1));
    reply({block(u"one"_s)});
    const auto result = runTask(u"go"_s);
    EXPECT_EQ(result.outcome, Outcome::outOfSteps);
    EXPECT_EQ(result.answer, u"I ran out of steps before finishing. Tell me how to continue."_s);
    EXPECT_EQ(osascript.calls(), 1);
    EXPECT_EQ(claude.calls(), 1);
    EXPECT_EQ(events.last(), u"warn: ── hit max steps (1) — type a follow-up to continue"_s);
    EXPECT_EQ(state->status(), u"hit max steps (1)"_s);
    EXPECT_EQ(state->taskActivity(), u"Done ✓"_s);
}

TEST_F(TaskLoopTest, AFailedScriptIsTheNextTurnsInput) {
    reply({block(u"bad"_s), u"DONE: ok"_s});
    osascript.play(1, "echo '0:3: execution error: Boom. (-2700)' >&2; exit 1");
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::done);
    const QString output = u"Error (exit 1): 0:3: execution error: Boom. (-2700)\n"_s;
    EXPECT_TRUE(plainEvents()[3].startsWith(u"bad: ✗ script failed ("_s));
    EXPECT_TRUE(plainEvents()[3].endsWith(u"s): "_s + output));
    EXPECT_TRUE(message(2).startsWith(u"Result of your last AppleScript (failure):\n"_s + output));
}

TEST_F(TaskLoopTest, ARefusedScriptYieldsANoteInTheNextTurnsResult) {
    reply({block(u"x"_s), u"DONE: ok"_s});
    osascript.play(1, "echo 'execution error: Not authorized to send Apple events to Finder. (-1743)' >&2; exit 1");
    runTask(u"go"_s);
    EXPECT_TRUE(
        events.contains(u"bad: ✗ an app in this script isn't allowed yet — allow it from the ombru menu bar"_s));
    EXPECT_TRUE(message(2).contains(
        u"\n(macOS hasn't allowed ombru to control this app — the user can allow it in the ombru menu bar or System "
        u"Settings → Privacy & Security → Automation.)\nScreenshot"_s));
}

TEST_F(TaskLoopTest, AResultSaysThatAScriptOfItsTaskWasRefused) {
    reply({block(u"x"_s), block(u"y"_s), u"DONE: ok"_s, u"DONE: again"_s});
    osascript.play(1, "echo 'execution error: Not authorized to send Apple events to Finder. (-1743)' >&2; exit 1");
    EXPECT_EQ(runTask(u"go"_s), (TaskResult{Outcome::done, u"ok"_s, true}));
    EXPECT_EQ(runTask(u"go"_s), (TaskResult{Outcome::done, u"again"_s, false}));
}

TEST_F(TaskLoopTest, ATaskThatIsStoppedAfterARefusalSaysSoToo) {
    reply({block(u"x"_s)});
    osascript.play(1, "echo 'execution error: Not authorized to send Apple events to Finder. (-1743)' >&2; exit 1");
    claude.play(2, "exit 3");
    const auto result = runTask(u"go"_s);
    EXPECT_EQ(result.outcome, Outcome::failed);
    EXPECT_TRUE(result.scriptRefused);
}

TEST_F(TaskLoopTest, AScriptThatSucceedsIsNoRefusalWhateverItPrints) {
    reply({block(u"x"_s), u"DONE: ok"_s});
    osascript.play(1, "echo -1743");
    runTask(u"go"_s);
    EXPECT_FALSE(message(2).contains(u"macOS hasn't allowed"_s));
    EXPECT_FALSE(state->lastResult->value().scriptRefused);
}

TEST_F(TaskLoopTest, AScriptBeyondItsTimeIsEnded) {
    ASSERT_TRUE(state->settings.scriptTimeout.write(0.2));
    reply({block(u"x"_s), u"DONE: ok"_s});
    osascript.play(1, "exec sleep 1000");
    runTask(u"go"_s);
    EXPECT_TRUE(message(2).startsWith(u"Result of your last AppleScript (failure):\nScript timed out after 0s."_s));
}

TEST_F(TaskLoopTest, AMissingToolEndsTheTaskWithAnAnswer) {
    ASSERT_TRUE(QFile::remove(home.filePath(u".local/bin/claude"_s)));
    qputenv("PATH", "/nonexistent");
    const auto result = runTask(u"go"_s);
    EXPECT_EQ(result, (TaskResult{Outcome::failed, u"Sorry, the assistant isn't installed on the computer."_s}));
    EXPECT_EQ(events.last(), u"bad: ✗ couldn't find the claude CLI (install Claude Code)"_s);
    EXPECT_EQ(state->status(), u"claude CLI not found"_s);
    EXPECT_EQ(state->step(), 0);
}

TEST_F(TaskLoopTest, AnErrorOfTheToolEndsTheTaskWithItsWords) {
    claude.play(1, "echo '{\"is_error\":true,\"result\":\"no credit\"}'");
    EXPECT_EQ(runTask(u"go"_s), (TaskResult{Outcome::failed, u"Sorry, something went wrong on the computer."_s}));
    EXPECT_EQ(events.last(), u"bad: ✗ claude error: no credit"_s);
    EXPECT_EQ(state->status(), u"✗ claude error: no credit"_s);
    EXPECT_EQ(state->taskActivity(), u"Something went wrong"_s);
}

TEST_F(TaskLoopTest, AFailedScreenshotEndsTheTask) {
    FakePlatform::instance().screenshot = []() -> Result<Picture> {
        return std::unexpected(Failure{u"screenshot"_s, 1, u"no display"_s});
    };
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::failed);
    EXPECT_EQ(events.last(2), QStringList({u"bad: ✗ screenshot failed — give ombru Screen Recording permission (System "
                                           u"Settings → Privacy & Security)"_s,
                                           u"warn: no display"_s}));
    EXPECT_TRUE(state->status->startsWith(u"✗ screenshot failed"_s)) << "its words stay the status";
    EXPECT_EQ(claude.calls(), 0);
}

TEST_F(TaskLoopTest, AScreenThatGoesAwayAfterItsPictureEndsTheTask) {
    FakePlatform::instance().screenSize = QSize();
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::failed);
    EXPECT_TRUE(events.at(events.size() - 2).startsWith(u"bad: ✗ screenshot failed — "_s));
    EXPECT_EQ(events.last(), u"warn: The display went away."_s);
    EXPECT_EQ(claude.calls(), 0);
}

TEST_F(TaskLoopTest, HalfACharacterInAReplyHidesNoScript) {
    claude.play(1, R"(printf '%s' '{"result":"Go \ud83d now.\n```applescript\nreturn 1\n```","session_id":"s"}')");
    claude.file(u"reply.2"_s, resultJson(u"DONE: ok"_s));
    claude.play(2, "cat \"$d/reply.$n\"");
    EXPECT_EQ(runTask(u"go"_s).answer, u"ok"_s);
    EXPECT_EQ(osascript.input(1), "return 1");
}

TEST_F(TaskLoopTest, StartingATaskWhileOneRunsChangesNothing) {
    reply({u"DONE: first"_s});
    EXPECT_TRUE(state->startTask(u"one"_s));
    EXPECT_FALSE(state->startTask(u"two"_s, u"Ann"_s));
    EXPECT_FALSE(state->caller());
    EXPECT_EQ(finish().answer, u"first"_s);
    EXPECT_FALSE(events.join(u'\n').contains(u"two"_s));
    EXPECT_EQ(claude.calls(), 1);
}

TEST_F(TaskLoopTest, APhonedTaskKnowsItsCallerAndSpeaksItsAnswer) {
    reply({u"DONE: spoken"_s});
    QStringList spoken;
    state->startTask(u"call back"_s, u"Ann"_s, {}, [&](const QString &answer) { spoken.append(answer); });
    EXPECT_EQ(state->caller(), u"Ann"_s);
    finish();
    EXPECT_EQ(notificationTitles().first(), u"Request received"_s);
    EXPECT_EQ(FakePlatform::instance().notifications[0].notification->body, u"☎ Ann: call back"_s);
    EXPECT_EQ(spoken, QStringList{u"spoken"_s});
    EXPECT_FALSE(state->caller());
    EXPECT_EQ(events.first(), u"call: ☎ Ann ❯ call back"_s);
    EXPECT_EQ(events.last(), u"call: ☎ spoken reply: spoken"_s);
    EXPECT_TRUE(message(1).startsWith(u"USER TASK: call back"_s + PHONE_NOTE + u"\nScreenshot (step 1): "_s));
}

TEST_F(TaskLoopTest, ALabelledTaskSaysWhereItCameFrom) {
    reply({u"DONE: ok"_s});
    state->startTask(u"from afar"_s, {}, u"web ❯ "_s);
    finish();
    EXPECT_EQ(notificationTitles().first(), u"Text received"_s);
    EXPECT_EQ(FakePlatform::instance().notifications[0].notification->body, u"From the web: from afar"_s);
    EXPECT_EQ(events.first(), u"user: web ❯ from afar"_s);
}

TEST_F(TaskLoopTest, SettingsCountFromTheNextUseOn) {
    reply({block(u"one"_s), block(u"two"_s)});
    osascript.play(1, "printf '[General]\\nmaxSteps=2\\nsettle=0\\n' >\"$HOME/.config/ombru/ombru.conf\"");
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::outOfSteps);
    EXPECT_EQ(claude.calls(), 2);
}

TEST_F(TaskLoopTest, TheNextTurnBeginsAfterThePauseAndNotBefore) {
    ManualClock clock;
    ASSERT_TRUE(state->settings.settle.write(2));
    reply({block(u"x"_s), u"DONE: ok"_s});
    state->startTask(u"go"_s);
    ASSERT_TRUE(test::waitUntil([this] { return events.last().startsWith(u"result: "_s); }));
    clock.advance(std::chrono::milliseconds(1999));
    test::settle();
    EXPECT_EQ(state->step(), 1);
    clock.advance(std::chrono::milliseconds(1));
    EXPECT_EQ(finish().answer, u"ok"_s);
}

TEST_F(TaskLoopTest, TheActivityLineClearsItselfFourSecondsAfterTheEnd) {
    ManualClock clock;
    reply({u"DONE: ok"_s});
    runTask(u"go"_s);
    EXPECT_EQ(state->taskActivity(), u"Done ✓"_s);
    clock.advance(std::chrono::milliseconds(3999));
    test::settle();
    EXPECT_TRUE(state->taskActivity());
    clock.advance(std::chrono::milliseconds(1));
    test::settle();
    EXPECT_FALSE(state->taskActivity());
}

// --- What may come back

TEST_F(TaskLoopTest, AReplyOfFiveMegabytesIsNoTrouble) {
    reply({u"DONE: "_s + QString(5'000'000, u'x')});
    EXPECT_EQ(runTask(u"go"_s).answer.size(), 5'000'000);
}

TEST_F(TaskLoopTest, AScriptInAReplyOfTwentyMegabytesIsRun) {
    const QString script = u"return \""_s + QString(20'000'000, u'x') + u'"';
    reply({block(script, u"A long one."_s), u"DONE: ok"_s});
    EXPECT_EQ(runTask(u"go"_s).answer, u"ok"_s);
    EXPECT_EQ(osascript.input(1).size(), script.size());
}

TEST_F(TaskLoopTest, AReplyWithWindowsLineEndsIsUnderstood) {
    reply({u"Go.\r\n```applescript\r\nreturn 1\r\n```\r\n"_s, u"DONE: ok\r\nmore"_s});
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::done);
    EXPECT_EQ(osascript.input(1), "return 1");
    EXPECT_EQ(state->status(), u"✓ ok"_s);
}

TEST_F(TaskLoopTest, AScriptThatPrintsFiftyMegabytesIsCutForClaudeAlone) {
    reply({block(u"x"_s), u"DONE: ok"_s});
    osascript.play(1, "head -c 50000000 /dev/zero | tr '\\0' '~'");
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::done);
    EXPECT_EQ(message(2).count(u'~'), 4000);
}

TEST_F(TaskLoopTest, AScreenshotDirectoryThatVanishesIsMadeAgain) {
    reply({block(u"x"_s), u"DONE: ok"_s});
    osascript.play(1, "rm -rf \"$HOME/.local/share/ombru\"");
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::done);
}

TEST_F(TaskLoopTest, AToolThatIsDeletedBetweenTurnsFailsTheTask) {
    reply({block(u"x"_s), u"DONE: ok"_s});
    osascript.play(1, "rm \"$HOME/.local/bin/claude\"");
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::failed);
    EXPECT_TRUE(events.at(events.size() - 2).startsWith(u"bad: ✗ "_s)) << events.last().toStdString();
}

TEST_F(TaskLoopTest, AToolThatIsReplacedBetweenTurnsIsUsed) {
    reply({block(u"x"_s)});
    const auto other = claude.file(u"other"_s, "#!/bin/sh\necho '{\"result\":\"DONE: other\",\"session_id\":\"s\"}'\n");
    osascript.play(1, "cp '" + other.toUtf8() + "' \"$HOME/.local/bin/claude\"");
    EXPECT_EQ(runTask(u"go"_s).answer, u"other"_s);
}

// --- What the owner is shown

TEST_F(TaskLoopTest, TheNotificationFollowsTheTask) {
    reply({block(u"one"_s, u"I try **this**. And more."_s), u"DONE: ok"_s});
    osascript.play(1, "echo '0:3: execution error: Boom. (-2700)' >&2; exit 1");
    runTask(u"go"_s);
    QStringList shown;
    for (const auto &[id, notification] : FakePlatform::instance().notifications) {
        EXPECT_EQ(id, u"ombru.activity"_s);
        ASSERT_TRUE(notification);
        shown.append((notification->prominent ? u"! "_s : u"- "_s) + notification->title + u" | "_s +
                     notification->body);
    }
    EXPECT_EQ(shown, (QStringList{u"- Task received | go"_s, u"- Looking at your screen… | go"_s,
                                  u"- Figuring out what to do… | go"_s, u"! Step 1 | I try this."_s,
                                  u"- Step 1 · running… | I try this."_s,
                                  u"! That didn't work — trying another way | Boom. (-2700)"_s,
                                  u"- Step 2 · checking the result… | I try this."_s,
                                  u"- Step 2 · deciding the next move… | I try this."_s, u"! Done ✓ | ok"_s}));
}

TEST_F(TaskLoopTest, AScriptWithoutProseIsCalledOne) {
    reply({block(u"one"_s), u"DONE: ok"_s});
    runTask(u"go"_s);
    EXPECT_TRUE(notificationTitles().contains(u"Step 1"_s));
    const auto &notifications = FakePlatform::instance().notifications;
    EXPECT_TRUE(std::ranges::any_of(notifications, [](const auto &update) {
        return update.notification->title == u"Step 1"_s && update.notification->body == u"Running an AppleScript"_s;
    }));
    EXPECT_FALSE(events.join(u'\n').contains(u"claude: \n"_s));
}

TEST_F(TaskLoopTest, TheStatusSaysWhatIsHappening) {
    reply({block(u"one"_s), u"DONE: ok"_s});
    QStringList statuses;
    const auto watched = state->onWillChange([&] {
        if (statuses.isEmpty() || statuses.last() != state->status())
            statuses.append(state->status());
    });
    runTask(u"go"_s);
    EXPECT_EQ(statuses, (QStringList{u"idle"_s, u"Claude is thinking…"_s, u"running script (step 1)"_s,
                                     u"Claude is thinking…"_s, u"✓ ok"_s}));
}
