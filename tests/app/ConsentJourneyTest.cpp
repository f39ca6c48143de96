// What the owner allows and refuses, from the question in its window to what a task does to the editor's file.
#include "tests/app/Journey.h"
#include "tests/support/NotificationServerStandIn.h"
#include "tests/support/SessionBus.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <SQLiteCpp/SQLiteCpp.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString WRITTEN = u"the owner allowed it"_s;
const QString TASK = u"write into the note"_s;
const QByteArray SCENARIO = "task: write into the note\nwords: write note\n\n"; // its head
constexpr int ALLOWED = 2;                                                      // as the record has it
constexpr int REFUSED = 0;

// Opens the note in the editor, types and saves; its name in place of %1.
const QString WRITE = uR"(tell application "TextEdit"
	open POSIX file "%1"
	activate
end tell
tell application "System Events"
	repeat 80 times
		set theProcess to first process whose frontmost is true
		if (count of windows of theProcess) > 0 then
			if name of window 1 of theProcess contains "note" then exit repeat
		end if
		delay 0.25
	end repeat
	keystroke "the owner allowed it"
	keystroke "s" using command down
end tell
repeat 80 times
	if (do shell script "cat '%1'") contains "allowed" then return "saved"
	delay 0.25
end repeat
error "the note was not saved")"_s;

QByteArray turn(const QString &head, const QString &script) {
    return u"=== %1\nI go on.\n\n```applescript\n%2\n```\n\n"_s.arg(head, script).toUtf8();
}

class ConsentJourney : public Journey {
protected:
    ConsentJourney() {
        allow(data(), {u"System Events"_s}, ownConsentClient());
        teach(SCENARIO + turn(u"1"_s, WRITE.arg(note())) +
              "=== 2 when success\nDONE: It is in the note.\n\n=== 2\nDONE: It is not in the note.\n");
    }

    QString note() const { return m_scratch.path(u"note.txt"_s); }
    QString database() const { return data() + u"/ombru/consent.db"_s; }
    static QString editor() { return consentIdentity(ConsentParty::application, u"TextEdit"_s); }
    static QString thisTest() { return QCoreApplication::applicationFilePath(); }

    // What the record says of the editor.
    std::optional<bool> decision(const QString &client) const {
        const Variable home("XDG_DATA_HOME", data().toUtf8());
        const auto all = consentDecisions();
        EXPECT_TRUE(all) << all.error().description.toStdString();
        for (const auto &one : all.value_or(std::vector<ConsentDecision>())) {
            if (one.client == client && one.application == editor())
                return one.allowed;
        }
        return std::nullopt;
    }
    void edit(const QString &statement) {
        SQLite::Database(database().toStdString(), SQLite::OPEN_READWRITE).exec(statement.toStdString());
    }
    void editRow(int value) {
        edit(u"INSERT OR REPLACE INTO access VALUES ('kTCCServiceAppleEvents', '%1', '%2', %3, 1)"_s.arg(
            ownConsentClient(), editor(), QString::number(value)));
    }

    // --- the question

    static bool shell(const QByteArray &line) { return std::system(line.constData()) == 0; }
    static inline const QByteArray FIND = "xdotool search --onlyvisible --name '^ombru: allow control of' ";
    static bool isAsked() { return shell(FIND + ">/dev/null 2>&1"); }
    // Tries until the question is gone: it does not listen in its first second. In a program of its own, which does not
    // end with the window and leave the key down.
    static void answerBy(const QByteArray &action) {
        ASSERT_TRUE(waitUntil(isAsked));
        EXPECT_TRUE(waitUntil([&] {
            shell(FIND + "windowactivate --sync >/dev/null 2>&1 && " + action);
            for (int look = 0; look < 10 && isAsked(); ++look)
                shell("sleep 0.05");
            return !isAsked();
        }));
    }
    static void press(const QByteArray &key) { answerBy("xdotool key " + key); }
    static void clickAllow() {
        answerBy("xdotool mousemove 2 2 && eval $(" + FIND +
                 "getwindowgeometry --shell) && xdotool mousemove --window $WINDOW $((WIDTH - 50)) $((HEIGHT - 30)) "
                 "click 1");
    }
    int askFor(const QString &application, const std::function<void()> &answer) {
        const auto prompt = startProgram(u"ombru-consent-prompt"_s,
                                         {u"--client"_s, ownConsentClient(), u"--application"_s, application});
        answer();
        return end(prompt).status;
    }

    // --- a task

    // The messages that the agent was sent, in order.
    QStringList messages() const {
        const QDir conversations(m_scratch.path(u".local/state/ombru-rehearsed-agent"_s));
        const auto files = conversations.entryList({u"*.json"_s}, QDir::Files);
        EXPECT_EQ(files.size(), 1);
        QStringList all;
        const auto object = QJsonDocument::fromJson(contents(conversations.filePath(files.value(0)))).object();
        for (const auto &message : object[u"messages"_s].toArray())
            all += message.toString();
        return all;
    }
    void expectRefused(const Finished &finished, const QString &advice) {
        EXPECT_EQ(finished.status, 0) << "the agent's own answer ends it: " << finished.out.toStdString();
        EXPECT_TRUE(finished.out.contains(u"✗ TextEdit hasn't been allowed yet — %1, then try again."_s.arg(advice)))
            << finished.out.toStdString();
        EXPECT_TRUE(finished.out.contains(u"✓ It is not in the note."_s)) << finished.out.toStdString();
        const auto feedback =
            u"Result of your last AppleScript (failure):\nNot run: macOS hasn't allowed ombru to control TextEdit yet. "
            "Tell the user TextEdit needs to be allowed (%1). If the task can be done without scripting TextEdit "
            "directly — e.g. by clicking and typing through System Events — you may do that instead.\nScreenshot "
            "(step 2): "_s.arg(advice);
        EXPECT_TRUE(messages().value(1).startsWith(feedback)) << messages().join(u"\n---\n"_s).toStdString();
        EXPECT_FALSE(contents(note()).contains("allowed"));
    }
    void expectWritten() {
        const auto finished = run({TASK});
        EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
        EXPECT_TRUE(finished.out.contains(u"✓ It is in the note."_s)) << finished.out.toStdString();
        EXPECT_EQ(contents(note()).trimmed(), WRITTEN.toUtf8());
    }

    // The agent answers its turns one by one, when the test lets it.
    void holdTheAgent() {
        QFile::remove(claude());
        m_scratch.script(u".local/bin/claude"_s,
                         "cd '" + m_scratch.directory().toUtf8() +
                             "'\nn=$(($(cat turns 2>/dev/null || echo 0) + 1))\necho $n >turns\n"
                             "until [ -e go.$n ]; do sleep 0.05; done\nexec '" +
                             bin(u"ombru-rehearsed-agent"_s).toUtf8() + "' \"$@\"");
    }
    void awaitTurn(int number) {
        ASSERT_TRUE(
            waitUntil([&] { return contents(m_scratch.path(u"turns"_s)).trimmed() == QByteArray::number(number); }));
    }
    void letAnswer(int number) { m_scratch.write(u"go.%1"_s.arg(number), ""); }

    // --- a script that ombru did not start, or whose applications cannot be seen in it

    QString reach() const {
        return u"tell application (\"Text\" & \"Edit\") to launch\ndo shell script \"touch '%1'\""_s.arg(went());
    }
    QString went() const { return m_scratch.path(u"went"_s); }
    std::shared_ptr<Process> startScript() { return startProgram(u"osascript"_s, {u"-e"_s, reach()}); }

    const QString CLICK_ALLOW = u"click Allow next to it in the ombru menu bar"_s;
    const QString TURN_ON = u"turn it on in System Settings → Privacy & Security → Automation → ombru"_s;
};

} // namespace

// --- in the task loop

TEST_F(ConsentJourney, WhatIsUndecidedIsRefusedInTheLoopAndEverybodyHears) {
    SessionBus bus;
    NotificationServerStandIn notifications(bus.address());
    m_environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    m_scratch.write(u"note.txt"_s, "");
    expectRefused(run({TASK}), CLICK_ALLOW);
    const auto told = notifications.titles.indexOf(u"TextEdit isn't allowed yet"_s);
    ASSERT_GE(told, 0) << notifications.titles.join(u'\n').toStdString();
    EXPECT_EQ(notifications.bodies.value(told), u"Allow it from the ombru menu bar, then try again."_s);
    EXPECT_FALSE(isAsked());
    EXPECT_EQ(decision(ownConsentClient()), std::nullopt);
}

TEST_F(ConsentJourney, OnceTheOwnerHasPressedAllowTheSameTaskIsDone) {
    m_scratch.write(u"note.txt"_s, "");
    expectRefused(run({TASK}), CLICK_ALLOW);
    EXPECT_EQ(askFor(editor(), clickAllow), 0);
    EXPECT_EQ(decision(ownConsentClient()), true);
    expectWritten();
}

TEST_F(ConsentJourney, WhatTheOwnerRefusedStaysRefusedAndTheSettingsAreNamed) {
    m_scratch.write(u"note.txt"_s, "");
    EXPECT_EQ(askFor(u"com.apple.TextEdit"_s, [] { press("Escape"); }), 1);
    EXPECT_EQ(decision(ownConsentClient()), false);
    expectRefused(run({TASK}), TURN_ON);
    EXPECT_FALSE(isAsked());
    EXPECT_EQ(decision(ownConsentClient()), false);
}

TEST_F(ConsentJourney, ARowChangedByHandBetweenTwoTurnsCountsInTheNext) {
    holdTheAgent();
    QByteArray scenario = SCENARIO;
    for (int number = 1; number <= 4; ++number)
        scenario += turn(QString::number(number),
                         u"tell application \"TextEdit\" to launch\ndo shell script \"echo %1 >> '%2'\""_s.arg(
                             QString::number(number), m_scratch.path(u"done"_s)));
    teach(scenario + "=== 5\nDONE: That was all.\n");
    editRow(ALLOWED);
    const auto task = start({TASK});
    const auto next = [this](int number) {
        letAnswer(number);
        awaitTurn(number + 1);
        return contents(m_scratch.path(u"done"_s));
    };
    EXPECT_EQ(next(1), "1\n");
    editRow(REFUSED);
    EXPECT_EQ(next(2), "1\n");
    editRow(ALLOWED);
    EXPECT_EQ(next(3), "1\n3\n");
    edit(u"DELETE FROM access WHERE indirect_object_identifier = '%1'"_s.arg(editor()));
    EXPECT_EQ(next(4), "1\n3\n");
    letAnswer(5);
    const auto finished = end(task);
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(TURN_ON)) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(CLICK_ALLOW)) << finished.out.toStdString();
}

// The loop cannot see whom such a script addresses, so its osascript asks.
TEST_F(ConsentJourney, AScriptWhoseTimeIsOverTakesItsQuestionAlong) {
    m_environment["XDG_CONFIG_HOME"] = m_scratch.path(u".config"_s).toUtf8();
    QDir().mkpath(m_scratch.path(u".config"_s));
    m_scratch.write(u".config/mimeapps.list"_s,
                    "[Default Applications]\ntext/plain=" + editor().toUtf8() + ".desktop\n");
    ASSERT_EQ(end(startProgram(u"ombru"_s, {u"settings"_s, u"scriptTimeout"_s, u"10"_s})).status, 0);
    teach(SCENARIO + turn(u"1"_s, reach()) + "=== 2\nDONE: It took too long.\n");
    const auto task = start({TASK});
    ASSERT_TRUE(waitUntil(isAsked));
    EXPECT_TRUE(waitUntil([] { return !isAsked(); }));
    const auto finished = end(task);
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"✗ script failed"_s)) << finished.out.toStdString();
    EXPECT_FALSE(QFile::exists(went()));
    EXPECT_EQ(decision(ownConsentClient()), std::nullopt);
}

// --- outside of ombru

TEST_F(ConsentJourney, AScriptOfAnotherProgramWaitsForTheAnswerAndGoesOn) {
    allow(data(), {u"TextEdit"_s}, ownConsentClient()); // which is somebody else's
    const auto script = startScript();
    ASSERT_TRUE(waitUntil(isAsked));
    EXPECT_FALSE(QFile::exists(went()));
    EXPECT_EQ(decision(thisTest()), std::nullopt);
    clickAllow();
    const auto finished = end(script);
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_TRUE(QFile::exists(went()));
    EXPECT_TRUE(markedPrograms().contains(u"mousepad"_s)) << markedPrograms().join(u' ').toStdString();
    EXPECT_EQ(decision(thisTest()), true);
    EXPECT_EQ(end(startScript()).status, 0) << "nobody is asked twice";
}

TEST_F(ConsentJourney, AScriptOfAnotherProgramThatIsRefusedEndsAndIsNotAskedAboutAgain) {
    const auto script = startScript();
    press("alt+d");
    for (const auto &finished : {end(script), end(startScript())}) {
        EXPECT_EQ(finished.status, 1);
        EXPECT_TRUE(finished.out.contains(u"execution error: Not authorized to send Apple events to "_s) &&
                    finished.out.contains(u"(-1743)"_s))
            << finished.out.toStdString();
        EXPECT_EQ(decision(thisTest()), false);
    }
    EXPECT_FALSE(QFile::exists(went()));
    EXPECT_FALSE(markedPrograms().contains(u"mousepad"_s));
}

TEST_F(ConsentJourney, AScriptThatIsEndedTakesItsQuestionAlong) {
    for (const int signal : {SIGTERM, SIGKILL}) {
        const auto script = startScript();
        ASSERT_TRUE(waitUntil(isAsked));
        for (const qint64 pid : marked()) {
            if (QFileInfo(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid))).fileName() == u"osascript")
                ::kill(static_cast<pid_t>(pid), signal);
        }
        EXPECT_NE(end(script).status, 0);
        EXPECT_TRUE(waitUntil([] { return !isAsked(); }));
        EXPECT_EQ(decision(thisTest()), std::nullopt);
        EXPECT_FALSE(QFile::exists(went()));
    }
}

// --- a record that cannot be used

class UnusableRecord : public ConsentJourney {
protected:
    UnusableRecord() {
        allow(data(), {u"TextEdit"_s}, ownConsentClient());
        allow(data(), {u"TextEdit"_s}, thisTest());
        // One script whose application the loop sees, and one whose application only osascript does.
        teach(SCENARIO + turn(u"1"_s, u"tell application \"TextEdit\" to launch\n"_s + touch()) +
              turn(u"2"_s, reach()) + "=== 3\nDONE: It is not in the note.\n");
    }
    QString touch() const { return u"do shell script \"touch '%1'\""_s.arg(went()); }

    void expectNothingPasses() {
        const auto finished = run({TASK});
        EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
        EXPECT_TRUE(finished.out.contains(u"✗ TextEdit hasn't been allowed yet — "_s + CLICK_ALLOW))
            << finished.out.toStdString();
        EXPECT_TRUE(finished.out.contains(u"(-1743)"_s)) << finished.out.toStdString();
        EXPECT_TRUE(finished.out.contains(u"✓ It is not in the note."_s)) << finished.out.toStdString();
        const auto script = end(startScript());
        EXPECT_EQ(script.status, 1);
        EXPECT_TRUE(script.out.contains(u"(-1743)"_s)) << script.out.toStdString();
        EXPECT_FALSE(QFile::exists(went()));
    }
    void expectLeftAsItIs() {
        const auto before = contents(database());
        expectNothingPasses();
        EXPECT_EQ(contents(database()), before);
    }
};

TEST_F(UnusableRecord, OneThatIsThereLetsTheScriptsPass) {
    const auto finished = run({TASK});
    EXPECT_FALSE(finished.out.contains(u'✗')) << finished.out.toStdString();
    EXPECT_TRUE(QFile::exists(went()));
}

TEST_F(UnusableRecord, MissingAsksTheOwnerOnly) {
    QDir(data() + u"/ombru"_s).removeRecursively();
    const auto task = start({TASK});
    press("Escape");
    const auto finished = end(task);
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"✗ TextEdit hasn't been allowed yet — "_s + CLICK_ALLOW))
        << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"(-1743)"_s)) << finished.out.toStdString();
    EXPECT_FALSE(QFile::exists(went()));
    EXPECT_EQ(decision(ownConsentClient()), false);
}

TEST_F(UnusableRecord, Locked) {
    SQLite::Database other(database().toStdString(), SQLite::OPEN_READWRITE);
    other.exec("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; UPDATE access SET last_modified = 1; COMMIT; "
               "BEGIN EXCLUSIVE");
    expectNothingPasses();
}

TEST_F(UnusableRecord, Damaged) {
    const auto whole = contents(database());
    for (const auto &damaged : {QByteArray(5000, 'x'), whole.first(whole.size() - 2048)}) {
        for (const auto &side : {u"-wal"_s, u"-shm"_s})
            QFile::remove(database() + side);
        QFile file(database());
        ASSERT_TRUE(file.open(QFile::WriteOnly) && file.write(damaged) == damaged.size());
        file.close();
        expectLeftAsItIs();
    }
}

TEST_F(UnusableRecord, Newer) {
    edit(u"PRAGMA user_version = 2"_s);
    expectLeftAsItIs();
}
