// What `ombru status` and `ombru doctor` say of what the owner allows.
#include "app/cli/StatusCommand.h"

#include "app/cli/DoctorCommand.h"
#include "app/cli/Errand.h"
#include "tests/controller/LoopFixture.h"
#include "tests/support/Processes.h"
#include "tests/support/Variable.h"

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

class StatusErrand : public Errand {
public:
    explicit StatusErrand(const StatusOptions &options)
        : Errand(options, [options](const CommandPlace &place) -> std::unique_ptr<StateCommand> {
              return std::make_unique<StatusCommand>(place, options);
          }) {}
};

class StatusTest : public test::LoopFixture {
protected:
    StatusTest() {
        claude.playAlways("case $1 in --help) echo '" + Claude::requiredFlags.join(u' ').toUtf8() +
                          "';; auth) echo '{\"loggedIn\":true,\"email\":\"ann@example.org\"}';; esac");
        osascript.playAlways("printf 42");
        FakePlatform::instance().runtimeDirectory = home.path();
        add(u"com.apple.systemevents"_s, {u"System Events"_s});
        add(u"com.apple.finder"_s, {u"Files"_s});
    }

    static Guarded<FakeDesktop> &desktop() { return FakePlatform::instance().desktop; }
    static void add(const QString &id, const FakeApplication &application) {
        desktop()->applications[id] = application;
    }

    struct Output {
        int status = -1;
        QString text;
    };
    template <class Command>
    static Output outputOf(Command &command) {
        testing::internal::CaptureStdout();
        const int status = test::await(command.run());
        return {status, QString::fromStdString(testing::internal::GetCapturedStdout())};
    }
    static Output status() {
        StatusErrand command({});
        return outputOf(command);
    }
    static Output doctor() {
        DoctorCommand command;
        return outputOf(command);
    }
};

} // namespace

TEST_F(StatusTest, EverythingAllowedIsSaidInWords) {
    const auto said = status();
    EXPECT_EQ(said.status, 0);
    const auto lines = said.text.split(u'\n');
    EXPECT_EQ(lines.value(0), u"Full control is on"_s);
    EXPECT_EQ(lines.value(1), u"✓ claude            signed in as ann@example.org"_s);
    EXPECT_EQ(lines.value(2), u"✓ Screen Recording  allowed"_s);
    EXPECT_EQ(lines.value(3), QString(20, u' ') + Permissions::all[0].why);
    EXPECT_EQ(lines.value(4), u"✓ Accessibility     allowed"_s);
    EXPECT_EQ(lines.value(6), u"✓ Automation        allowed"_s);
    EXPECT_EQ(lines.value(9), u"✓ System Events     allowed"_s);
    EXPECT_EQ(lines.value(10), u"✓ Finder            allowed"_s);
    EXPECT_EQ(lines.size(), 12) << "only what is installed";
}

TEST_F(StatusTest, WhatIsMissingComesWithWhatToDo) {
    desktop()->screenAllowed = false;
    add(u"com.apple.finder"_s, {.name = u"Files"_s, .permission = AUTOMATION_REFUSED});
    add(u"com.apple.mail"_s, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    const auto said = status();
    EXPECT_EQ(said.status, 0);
    EXPECT_TRUE(said.text.startsWith(u"Allow permissions\n"_s));
    for (const auto &line :
         {u"✗ Screen Recording  not allowed\n"_s, u"`ombru-privacy Privacy_ScreenCapture` asks for it.\n"_s,
          u"✗ Finder            not allowed\n"_s, u"`ombru consent allow Finder`\n"_s,
          u"? Mail              not known yet\n"_s, u"`ombru consent allow Mail`\n"_s,
          u"`ombru doctor` says what works here"_s})
        EXPECT_TRUE(said.text.contains(line)) << line.toStdString() << said.text.toStdString();
}

TEST_F(StatusTest, WhatTheOwnerWroteIntoTheSettingsFileStays) {
    const QByteArray written = "# of my own\n\nmaxSteps=3 ; few\nand a line that is none\nsettle=0\n";
    const auto path = home.filePath(u".config/ombru/ombru.conf"_s);
    QFile file(path);
    ASSERT_TRUE(file.open(QFile::WriteOnly | QFile::Truncate));
    file.write(written);
    file.close();
    testing::internal::CaptureStderr();
    EXPECT_EQ(status().status, 0);
    const auto warned = QString::fromStdString(testing::internal::GetCapturedStderr());
    EXPECT_EQ(warned.count(u"line 4 of "_s), 1) << warned.toStdString();
    EXPECT_TRUE(warned.contains(u"is not KEY=VALUE and counts as nothing: and a line that is none"_s));
    ASSERT_TRUE(file.open(QFile::ReadOnly));
    const auto kept = file.readAll();
    EXPECT_TRUE(kept.startsWith(written + "appAutomation=")) << kept.toStdString();
    EXPECT_EQ(kept.count('\n'), written.count('\n') + 1);
    EXPECT_EQ(QFileInfo(path).dir().entryList(QDir::Files).size(), 1) << "nothing is moved away";
}

TEST_F(StatusTest, AnotherProgramReadsOneObject) {
    desktop()->inputAllowed = false;
    add(u"com.apple.finder"_s, {.name = u"Files"_s, .running = false});
    claude.playAlways("case $1 in --help) echo '" + Claude::requiredFlags.join(u' ').toUtf8() +
                      "';; auth) echo '{\"loggedIn\":false}';; esac");
    StatusErrand command({.json = true});
    const auto said = outputOf(command);
    EXPECT_EQ(said.status, 0);
    EXPECT_EQ(said.text.count(u'\n'), 1);
    const QJsonObject expected{
        {u"setup"_s, u"signInClaude"_s},
        {u"claude"_s, u"signedOut"_s},
        {u"permissions"_s,
         QJsonObject{{u"screen"_s, u"granted"_s}, {u"accessibility"_s, u"missing"_s}, {u"automation"_s, u"granted"_s}}},
        {u"applications"_s,
         QJsonObject{
             {u"com.apple.systemevents"_s, QJsonObject{{u"name"_s, u"System Events"_s}, {u"state"_s, u"granted"_s}}},
             {u"com.apple.finder"_s, QJsonObject{{u"name"_s, u"Finder"_s}, {u"state"_s, u"unknown"_s}}}}},
    };
    EXPECT_EQ(QJsonDocument::fromJson(said.text.toUtf8()).object(), expected) << said.text.toStdString();
}

TEST_F(StatusTest, EveryStateOfTheToolHasItsName) {
    const std::pair<QByteArray, QString> plays[] = {
        {"case $1 in --help) echo '" + Claude::requiredFlags.join(u' ').toUtf8() + "';; esac", u"unknown"_s},
        {"echo --print", u"outdated"_s},
    };
    for (const auto &[play, name] : plays) {
        claude.playAlways(play);
        // The tool is looked at again when its file has another date.
        QFile tool(home.filePath(u".local/bin/claude"_s));
        ASSERT_TRUE(tool.open(QFile::ReadWrite));
        ASSERT_TRUE(
            tool.setFileTime(QDateTime::fromSecsSinceEpoch(1'000'000 + name.size()), QFile::FileModificationTime));
        tool.close(); // what is open for writing cannot be run
        StatusErrand command({.json = true});
        EXPECT_EQ(QJsonDocument::fromJson(outputOf(command).text.toUtf8())[u"claude"_s].toString(), name);
    }
    ASSERT_TRUE(QFile::remove(home.filePath(u".local/bin/claude"_s)));
    StatusErrand command({.json = true});
    EXPECT_EQ(QJsonDocument::fromJson(outputOf(command).text.toUtf8())[u"claude"_s].toString(), u"missing"_s);
}

TEST_F(StatusTest, TheOwnerNeedNotWaitForIt) {
    claude.playAlways("echo $$ >\"$HOME/claude.pid\"; exec sleep 1000");
    StatusErrand command({});
    const auto ended = std::make_shared<std::optional<int>>();
    testing::internal::CaptureStdout();
    const auto kept = test::keep(command.run(), ended);
    const auto pid = test::pidIn(home.filePath(u"claude.pid"_s));
    command.interrupt();
    ASSERT_TRUE(test::waitUntil([&] { return ended->has_value(); }));
    EXPECT_EQ(**ended, 130);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(test::isAlive(pid));
}

TEST_F(StatusTest, TheDoctorTellsWhatIsAllowed) {
    desktop()->inputAllowed = false;
    add(u"com.apple.finder"_s, {.name = u"Files"_s, .permission = AUTOMATION_REFUSED});
    const auto said = doctor();
    EXPECT_EQ(said.status, 1) << "a task can neither type nor click: " << said.text.toStdString();
    for (const auto &line :
         {u"✓ osascript"_s, u"✓ Screen Recording  allowed\n"_s, u"✗ Accessibility     not allowed\n"_s,
          u"✓ Automation        allowed\n"_s, u"✓ System Events     allowed\n"_s,
          u"✗ Finder            not allowed\n"_s, u"✗ setup             Allow permissions\n"_s})
        EXPECT_TRUE(said.text.contains(line)) << line.toStdString() << said.text.toStdString();
}

TEST_F(StatusTest, DecisionsAboutOtherApplicationsAreShownToo) {
    add(u"org.example.Editor"_s, {u"Writer's Desk"_s});
    desktop()->decisions = {{u"com.ombru.mac"_s, u"com.apple.finder"_s, true, {}},
                            {u"com.ombru.mac"_s, u"org.example.Editor"_s, false, {}},
                            {u"com.ombru.mac"_s, u"org.example.Gone"_s, true, {}},
                            {u"/usr/bin/other"_s, u"org.example.Other"_s, true, {}}};
    for (const auto &said : {status().text, doctor().text}) {
        EXPECT_EQ(said.count(u"✓ Finder"_s), 1) << said.toStdString();
        EXPECT_TRUE(said.contains(u"✗ Writer's Desk     not allowed\n"_s)) << said.toStdString();
        EXPECT_TRUE(said.contains(u"✓ org.example.Gone  allowed\n"_s)) << said.toStdString();
        EXPECT_FALSE(said.contains(u"org.example.Other"_s)) << said.toStdString();
    }
}

TEST_F(StatusTest, DecisionsThatCannotBeReadAreSaidWithTheReason) {
    desktop()->consentFailure = Failure{u"consent"_s, 1, u"The record is broken. Delete it."_s};
    for (const auto &said : {status().text, doctor().text})
        EXPECT_TRUE(said.contains(u"→ The record is broken. Delete it.\n"_s)) << said.toStdString();
    StatusErrand command({.json = true});
    EXPECT_EQ(QJsonDocument::fromJson(outputOf(command).text.toUtf8())[u"problem"_s].toString(),
              u"The record is broken. Delete it."_s);
}

TEST_F(StatusTest, TheDoctorSaysWhereSecretsAreKept) {
    EXPECT_TRUE(doctor().text.contains(u"✓ secrets           kept in the desktop's own store\n"_s));
    desktop()->secretDirectory = u"/home/me/secrets"_s;
    EXPECT_TRUE(doctor().text.contains(
        u"✓ secrets           kept in /home/me/secrets, for you alone to read: the desktop has no store for them\n"_s));
}

TEST_F(StatusTest, TheDoctorSaysThatTheStoreHasNotTakenAChange) {
    desktop()->outdatedSecrets = {u"device-token"_s};
    EXPECT_TRUE(doctor().text.contains(
        u"✗ secrets           The desktop's store has not taken the last change: what it still has is not used.\n"
        "                    → Unlock the store: the next start of ombru deletes that. To be signed in, sign in "
        "again.\n"_s));
}

TEST_F(StatusTest, TheDoctorSaysWhetherTheStopKeyIsSeen) {
    EXPECT_TRUE(doctor().text.contains(u"✓ stop key          Ctrl+Shift+Escape stops the running task\n"_s));
    auto &usable = FakePlatform::instance().stopKeyUsable;
    usable = std::unexpected(Failure{u"stopKey"_s, STOP_KEY_TAKEN, u"Another program has taken it."_s});
    const auto taken = doctor();
    EXPECT_EQ(taken.status, 0) << "a task can run";
    EXPECT_TRUE(taken.text.contains(u"✗ stop key          Another program has taken it.\n                    → Choose "
                                    "other keys: `ombru settings stopKey Ctrl+Alt+Pause`\n"_s))
        << taken.text.toStdString();
    usable = std::unexpected(Failure{u"stopKey"_s, 1, u"A Wayland session has none."_s});
    EXPECT_TRUE(doctor().text.contains(u"✗ stop key          A Wayland session has none.\n                    → "
                                       "`ombru stop` and the icon's menu stop a task.\n"_s));
    ASSERT_TRUE(state->settings.stopKey.write({}));
    EXPECT_FALSE(doctor().text.contains(u"stop key"_s)) << "its owner wants none";
}

TEST_F(StatusTest, TheDoctorWarnsOfWhatCanBeReadOnTheWay) {
    EXPECT_FALSE(doctor().text.contains(u"service"_s)) << "the usual one is on this computer";
    ASSERT_TRUE(state->settings.serverURL.write(u"http://example.org"_s));
    ASSERT_TRUE(state->settings.agentURL.write(u"wss://example.org/agent"_s));
    const auto said = doctor().text;
    EXPECT_TRUE(said.contains(u"✗ service           http://example.org is not encrypted. Whoever is on the way"_s))
        << said.toStdString();
    EXPECT_EQ(said.count(u"is not encrypted"_s), 1);
    ASSERT_TRUE(state->settings.speechURL.write(u"http://speech.example"_s));
    EXPECT_TRUE(doctor().text.contains(u"✗ speech            http://speech.example is not encrypted."_s));
}

TEST_F(StatusTest, TheDoctorSaysWhetherEachDirectoryCanBeWritten) {
    const auto well = doctor();
    EXPECT_EQ(well.status, 0) << well.text.toStdString();
    for (const auto &line : {u"✓ settings          can be written in %1/.config/ombru\n"_s,
                             u"✓ data              can be written in %1/.local/share/ombru\n"_s,
                             u"✓ state             can be written in %1/.local/state/ombru\n"_s})
        EXPECT_TRUE(well.text.contains(line.arg(home.path()))) << well.text.toStdString();
    const test::Variable nowhere("XDG_DATA_HOME", "/proc/self");
    const auto ill = doctor();
    EXPECT_EQ(ill.status, 1);
    EXPECT_TRUE(ill.text.contains(u"✗ data              cannot be written in /proc/self/ombru: "_s))
        << ill.text.toStdString();
}

TEST_F(StatusTest, WhoHasDecidedNothingIsToldSoAndWhatToType) {
    add(u"com.apple.systemevents"_s, {.name = u"System Events"_s, .permission = AUTOMATION_UNDECIDED});
    const auto undecided = u"You have not decided about System Events yet: `ombru consent allow \"System Events\"`\n"_s;
    const auto said = status();
    EXPECT_TRUE(said.text.startsWith(u"AppleScript was denied\n"_s + undecided)) << said.text.toStdString();
    const auto looked = doctor();
    EXPECT_EQ(looked.status, 1);
    EXPECT_TRUE(
        looked.text.contains(u"✗ setup             AppleScript was denied\n                    → "_s + undecided))
        << looked.text.toStdString();
    EXPECT_FALSE((said.text + looked.text).contains(u"com.apple."_s)) << "names as the owner knows them";
    add(u"com.apple.systemevents"_s, {.name = u"System Events"_s, .permission = AUTOMATION_REFUSED});
    for (const auto &text : {status().text, doctor().text}) {
        EXPECT_TRUE(text.contains(u"AppleScript was denied\n"_s));
        EXPECT_FALSE(text.contains(u"You have not decided"_s)) << text.toStdString();
    }
}

TEST_F(StatusTest, TheDoctorDoesNotAnswerWithPermissionsWhereClaudeIsMissing) {
    add(u"com.apple.systemevents"_s, {.name = u"System Events"_s, .permission = AUTOMATION_UNDECIDED});
    EXPECT_TRUE(QFile::remove(home.filePath(u".local/bin/claude"_s)));
    const auto looked = doctor();
    EXPECT_TRUE(looked.text.endsWith(u"✗ setup             Claude Code isn't installed\n"_s))
        << looked.text.toStdString();
}

TEST_F(StatusTest, TheDoctorCanBeInterruptedToo) {
    claude.playAlways("echo $$ >\"$HOME/claude.pid\"; exec sleep 1000");
    DoctorCommand command;
    const auto ended = std::make_shared<std::optional<int>>();
    testing::internal::CaptureStdout();
    const auto kept = test::keep(command.run(), ended);
    test::pidIn(home.filePath(u"claude.pid"_s));
    command.interrupt();
    ASSERT_TRUE(test::waitUntil([&] { return ended->has_value(); }));
    EXPECT_EQ(**ended, 130);
    EXPECT_FALSE(QString::fromStdString(testing::internal::GetCapturedStdout()).contains(u"Automation"_s));
}
