#include "tests/controller/LoopFixture.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using Outcome = TaskResult::Outcome;

namespace {
const QString RULE = QString(40, u'─');
const QString TELL_MAIL = u"tell application id \"com.apple.mail\" to beep"_s;
} // namespace

class TaskConsentTest : public test::LoopFixture {
protected:
    static void addMail(std::int32_t permission) {
        FakePlatform::instance().desktop->applications[u"com.apple.mail"_s] = {.name = u"Mail"_s,
                                                                               .permission = permission};
    }
};

TEST_F(TaskConsentTest, WhereThereIsAPanelTheOwnerIsTold) {
    state->hasPanel = true;
    addMail(AUTOMATION_UNDECIDED);
    reply({block(TELL_MAIL), u"DONE: ok"_s});
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::done);
    EXPECT_EQ(
        plainEvents().filter(u"To let scripts"_s),
        QStringList(u"warn: To let scripts control Mail: Allow in ombru's panel, or `ombru consent allow Mail`"_s));
}

TEST_F(TaskConsentTest, AScriptForAnApplicationNotYetAllowedIsNotRun) {
    addMail(AUTOMATION_UNDECIDED);
    reply({block(TELL_MAIL, u"I write."_s), u"DONE: ok"_s});
    QStringList statuses;
    const auto watched = state->onWillChange([&] { statuses.append(state->status()); });
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::done);
    EXPECT_EQ(osascript.calls(), 0);
    auto plain = plainEvents();
    EXPECT_TRUE(plain.takeLast().startsWith(u"dim: finished in 2 steps · "_s));
    EXPECT_EQ(plain,
              (QStringList{u"user: you ❯ go"_s, u"rule: ── step 1/15 "_s + RULE, u"claude: claude: I write."_s,
                           u"code: script:\n"_s + TELL_MAIL,
                           u"bad: ✗ Mail hasn't been allowed yet — click Allow next to it in the ombru menu bar, then "
                           u"try again."_s,
                           u"warn: To let scripts control Mail: `ombru consent allow Mail`"_s,
                           u"rule: ── step 2/15 "_s + RULE, u"good: ✓ ok"_s}));
    EXPECT_TRUE(message(2).startsWith(
        u"Result of your last AppleScript (failure):\nNot run: macOS hasn't allowed ombru to control Mail yet. Tell "
        u"the "
        u"user Mail needs to be allowed (click Allow next to it in the ombru menu bar). If the task can be done "
        u"without "
        u"scripting Mail directly — e.g. by clicking and typing through System Events — you may do that "
        u"instead.\nScreenshot (step 2): "_s))
        << message(2).toStdString();
    EXPECT_TRUE(statuses.contains(u"Mail not allowed yet"_s));
    EXPECT_FALSE(statuses.contains(u"running script (step 1)"_s));
    EXPECT_EQ(state->blockedApps(), (QList<AppAutomation::Target>{{u"com.apple.mail"_s, u"Mail"_s}}));
}

TEST_F(TaskConsentTest, WhatCannotBeSeenInANameIsShownInTheLog) {
    FakePlatform::instance().desktop->applications[u"com.apple.mail"_s] = {.name = u"Mail\u200B"_s,
                                                                           .permission = AUTOMATION_UNDECIDED};
    reply({block(TELL_MAIL), u"DONE: ok"_s});
    runTask(u"go"_s);
    EXPECT_TRUE(std::ranges::any_of(events, [](const QString &event) {
        return event.startsWith(u"bad: ✗ Mail«U+200B» hasn't been allowed yet"_s);
    })) << events.join(u'\n').toStdString();
}

TEST_F(TaskConsentTest, AnApplicationThatWasRefusedIsAllowedInTheSettings) {
    addMail(AUTOMATION_REFUSED);
    FakePlatform::instance().desktop->applications[u"com.apple.Notes"_s] = {.name = u"Notes"_s,
                                                                            .permission = AUTOMATION_UNDECIDED};
    reply({block(u"tell application id \"com.apple.Notes\" to beep\n"_s + TELL_MAIL), u"DONE: ok"_s});
    runTask(u"go"_s);
    const auto advice = u"turn it on in System Settings → Privacy & Security → Automation → ombru"_s;
    EXPECT_TRUE(events.contains(u"bad: ✗ Notes, Mail hasn't been allowed yet — "_s + advice + u", then try again."_s))
        << "one that was refused outright is enough";
    EXPECT_TRUE(message(2).contains(u"Tell the user Notes, Mail needs to be allowed ("_s + advice + u")."_s));
    EXPECT_EQ(state->blockedApps(),
              (QList<AppAutomation::Target>{{u"com.apple.Notes"_s, u"Notes"_s}, {u"com.apple.mail"_s, u"Mail"_s}}));
}

TEST_F(TaskConsentTest, TheNotificationNamesTheApplicationThatIsNotAllowed) {
    addMail(AUTOMATION_UNDECIDED);
    reply({block(TELL_MAIL), u"DONE: ok"_s});
    runTask(u"go"_s);
    const auto titles = notificationTitles();
    const auto at = titles.indexOf(u"Mail isn't allowed yet"_s);
    ASSERT_GT(at, 0);
    EXPECT_EQ(titles[at - 1], u"Step 1"_s);
    const auto shown = FakePlatform::instance().notifications[at].notification;
    EXPECT_EQ(shown->body, u"Allow it from the ombru menu bar, then try again."_s);
    EXPECT_FALSE(shown->prominent);
}

TEST_F(TaskConsentTest, AnApplicationIsBlockedOnceHoweverOftenItIsTried) {
    addMail(AUTOMATION_UNDECIDED);
    reply({block(TELL_MAIL), block(TELL_MAIL), u"DONE: ok"_s});
    runTask(u"go"_s);
    EXPECT_EQ(state->blockedApps->size(), 1);
    EXPECT_EQ(osascript.calls(), 0);
}

TEST_F(TaskConsentTest, AScriptThatIsNotRunUsesUpItsStep) {
    ASSERT_TRUE(state->settings.maxSteps.write(1));
    addMail(AUTOMATION_UNDECIDED);
    reply({block(TELL_MAIL)});
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::outOfSteps);
    EXPECT_EQ(events.last(), u"warn: ── hit max steps (1) — type a follow-up to continue"_s);
}

TEST_F(TaskConsentTest, AScriptThatIsNotRunIsNotFollowedByAPause) {
    ManualClock clock; // the pause would never end
    ASSERT_TRUE(state->settings.settle.write(60));
    addMail(AUTOMATION_UNDECIDED);
    reply({block(TELL_MAIL), u"DONE: ok"_s});
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::done);
}

TEST_F(TaskConsentTest, AnAllowedApplicationIsScripted) {
    addMail(AUTOMATION_ALLOWED);
    osascript.play(1, "echo com.apple.mail");
    reply({block(u"tell application \"Mail\" to beep"_s), u"DONE: ok"_s});
    runTask(u"go"_s);
    ASSERT_EQ(osascript.calls(), 2);
    EXPECT_EQ(osascript.arguments(1), (QStringList{u"-e"_s, u"id of application \"Mail\""_s}));
    EXPECT_EQ(osascript.input(2), "tell application \"Mail\" to beep");
    EXPECT_TRUE(state->blockedApps->isEmpty());
}

TEST_F(TaskConsentTest, AnApplicationThatAScriptWasRefusedWhileItRanIsBlocked) {
    reply({block(u"tell application \"System Events\" to keystroke \"x\""_s), u"DONE: ok"_s});
    osascript.play(1, "echo com.apple.systemevents");
    osascript.play(2,
                   "echo '0:9: execution error: Not authorized to send Apple events to Mail. The owner has not allowed "
                   "scripts to use this application. (-1743)' >&2; exit 1");
    osascript.play(3, "echo com.apple.mail");
    FakePlatform::instance().desktop->applications[u"com.apple.systemevents"_s] = {.name = u"System Events"_s,
                                                                                   .permission = AUTOMATION_ALLOWED};
    runTask(u"go"_s);
    ASSERT_EQ(osascript.calls(), 3);
    EXPECT_EQ(osascript.arguments(3), (QStringList{u"-e"_s, u"id of application \"Mail\""_s}));
    EXPECT_EQ(state->blockedApps(), (QList<AppAutomation::Target>{{u"com.apple.mail"_s, u"Mail"_s}}));
    EXPECT_TRUE(message(2).contains(u"The owner has not allowed scripts to use this application. (-1743)"_s));
}

TEST_F(TaskConsentTest, AnApplicationThatIsAllowedMeanwhileIsScripted) {
    addMail(AUTOMATION_UNDECIDED);
    reply({block(TELL_MAIL), block(TELL_MAIL), u"DONE: ok"_s});
    const auto listening = state->onEvent([](const Event &event) {
        if (event.text.startsWith(u"── step 2/"_s))
            addMail(AUTOMATION_ALLOWED);
    });
    runTask(u"go"_s);
    EXPECT_EQ(osascript.calls(), 1);
    EXPECT_EQ(state->blockedApps->size(), 1) << "only the owner's Allow takes it away";
}
