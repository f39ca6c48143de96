// `ombru consent` as its owner types it, with a record and applications of the test's own.
#include "base/Process.h"
#include "platform/Consent.h"
#include "tests/support/Consent.h"
#include "tests/support/Outcome.h"
#include "tests/support/Processes.h"
#include "tests/support/Wait.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class ConsentCommandTest : public ::testing::Test {
protected:
    ConsentCommandTest() {
        QDir().mkpath(scratch.path(u"applications"_s));
        scratch.write(u"applications/org.example.Editor.desktop"_s,
                      "[Desktop Entry]\nType=Application\nName=Writer's Desk\nExec=/bin/true %F\n"
                      "Categories=TextEditor;\nMimeType=text/plain;\n");
    }

    Outcome run(const QStringList &words, const QString &program = u"ombru"_s) {
        auto process = Process::make(
            {.program = program.startsWith(u'/') ? program : qEnvironmentVariable("OMBRU_BIN") + u'/' + program,
             .arguments = words,
             .directory = scratch.directory(),
             .environment = ownEnvironment()});
        EXPECT_TRUE(process->start());
        await(process->ended());
        return {process->status(), QString::fromUtf8(process->takeOutput()), QString::fromUtf8(process->takeErrors())};
    }
    Outcome consent(const QStringList &words) { return run(QStringList{u"consent"_s} + words); }

    // Typed on a terminal once the question is there; a "yes" was typed before. Below nothing that has a display: a
    // desktop's own terminal is no such place. Gives all that the terminal showed.
    Outcome onTerminal(const QString &words, const QByteArray &answer) {
        auto environment = ownEnvironment();
        environment["OMBRU"] = qgetenv("OMBRU_BIN") + "/ombru";
        environment["ANSWER"] = answer;
        const auto line = u"rm -f keys log; mkfifo keys\n"
                          "script -qefc '\"$OMBRU\" consent %1' log <keys >/dev/null & exec 3>keys\n"
                          "until grep -qF '?' log; do sleep 0.05; done\nprintf 'yes\\n' >&3\n"
                          "until grep -qF 'Type \"yes\"' log; do sleep 0.05; done\n"
                          "printf '%s\\n' \"$ANSWER\" >&3; wait $!; echo $? >ended; mv ended status"_s.arg(words);
        QFile::remove(scratch.path(u"status"_s));
        auto process = Process::make({.program = u"/usr/bin/setsid"_s,
                                      .arguments = {u"-f"_s, u"/bin/sh"_s, u"-c"_s, line},
                                      .directory = scratch.directory(),
                                      .environment = environment});
        EXPECT_TRUE(process->start());
        await(process->ended());
        EXPECT_TRUE(waitUntil([&] { return QFile::exists(scratch.path(u"status"_s)); }));
        return {contents(scratch.path(u"status"_s)).trimmed().toInt(),
                QString::fromUtf8(contents(scratch.path(u"log"_s))),
                {}};
    }

    // "client application allowed", a decision an entry.
    static QStringList recorded() {
        QStringList all;
        const auto decisions = consentDecisions();
        EXPECT_TRUE(decisions) << decisions.error().description.toStdString();
        for (const auto &decision : decisions.value_or(std::vector<ConsentDecision>()))
            all += decision.client + u' ' + decision.application + (decision.allowed ? u" yes"_s : u" no"_s);
        return all;
    }

    Scratch scratch;
    Variable data{"XDG_DATA_HOME", scratch.directory().toUtf8()};
    Variable system{"XDG_DATA_DIRS", scratch.path(u"none"_s).toUtf8()};
    Variable config{"XDG_CONFIG_HOME", scratch.path(u"none"_s).toUtf8()};
    Variable configs{"XDG_CONFIG_DIRS", scratch.path(u"none"_s).toUtf8()};
    Variable home{"HOME", scratch.directory().toUtf8()};
    Variable display{"DISPLAY"};
    Variable wayland{"WAYLAND_DISPLAY"};
};

} // namespace

TEST_F(ConsentCommandTest, DecidesByAnyNameForItsOwnScripts) {
    for (const auto &name : {u"TextEdit"_s, u"writer's desk"_s, u"org.example.Editor"_s, u"com.apple.TextEdit"_s}) {
        const auto refused = consent({u"deny"_s, name});
        EXPECT_EQ(refused.status, 0) << refused;
        EXPECT_TRUE(refused.out.startsWith(u"Writer's Desk: "_s)) << refused;
        EXPECT_TRUE(refused.out.endsWith(u": refused for ombru\n"_s)) << refused;
        EXPECT_EQ(recorded(), QStringList(u"com.ombru.mac org.example.Editor no"_s));
        allow(scratch.directory(), {name}, ownConsentClient());
        EXPECT_EQ(consent({u"forget"_s, name}).status, 0);
        EXPECT_EQ(recorded(), QStringList());
    }
}

// --- saying yes

TEST_F(ConsentCommandTest, OnATerminalWithoutADisplayAnOwnerWhoTypesYesAllows) {
    const auto allowed = onTerminal(u"allow TextEdit"_s, "yes");
    EXPECT_EQ(allowed.status, 0) << allowed;
    EXPECT_TRUE(allowed.out.contains(u"Let com.ombru.mac control org.example.Editor?"_s)) << allowed;
    EXPECT_TRUE(allowed.out.contains(u": allowed for ombru"_s)) << allowed;
    EXPECT_EQ(recorded(), QStringList(u"com.ombru.mac org.example.Editor yes"_s));
}

TEST_F(ConsentCommandTest, ATerminalOfAProgramThatHasADisplayGivesNoAnswer) {
    consent({u"deny"_s, u"TextEdit"_s});
    const Variable program("OMBRU", qgetenv("OMBRU_BIN") + "/ombru");
    for (const auto &name : {u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s}) {
        for (const auto &action : {u"allow"_s, u"forget"_s}) {
            const auto asked = run({u"%1=:77"_s.arg(name), u"sh"_s, u"-c"_s,
                                    u"echo yes | env -u %1 script -qefc '\"$OMBRU\" consent %2 TextEdit' /dev/null; "
                                    "exit $?"_s.arg(name, action)},
                                   u"/usr/bin/env"_s);
            EXPECT_EQ(asked.status, 1) << asked;
            EXPECT_FALSE(asked.out.contains(u"Type"_s)) << asked;
            EXPECT_TRUE(asked.out.contains(u"has a display"_s)) << asked;
        }
    }
    EXPECT_EQ(recorded(), QStringList(u"com.ombru.mac org.example.Editor no"_s));
}

TEST_F(ConsentCommandTest, NothingElseThatIsTypedIsAYesAndNothingThatWasTypedBefore) {
    for (const QByteArray &answer : {"y", "YES", "", "yes please"}) {
        const auto outcome = onTerminal(u"allow TextEdit"_s, answer);
        EXPECT_TRUE(outcome.out.contains(u": not allowed for ombru"_s)) << outcome;
    }
    EXPECT_EQ(recorded(), QStringList());
}

TEST_F(ConsentCommandTest, ARefusalIsForgottenWhenTheOwnerSaysSo) {
    consent({u"deny"_s, u"TextEdit"_s});
    EXPECT_TRUE(onTerminal(u"forget TextEdit"_s, "no").out.contains(u": refused for ombru"_s));
    EXPECT_EQ(recorded(), QStringList(u"com.ombru.mac org.example.Editor no"_s));
    EXPECT_TRUE(onTerminal(u"forget TextEdit"_s, "yes").out.contains(u": undecided for ombru"_s));
    EXPECT_EQ(recorded(), QStringList());
}

TEST_F(ConsentCommandTest, WhereNobodyCanBeAskedNothingIsAllowedOrForgotten) {
    consent({u"deny"_s, u"TextEdit"_s});
    for (const auto &action : {u"allow"_s, u"forget"_s}) {
        const auto outcome = consent({action, u"TextEdit"_s});
        EXPECT_EQ(outcome.status, 1) << outcome;
        EXPECT_TRUE(outcome.err.contains(u"could not be put to you"_s)) << outcome;
    }
    EXPECT_EQ(recorded(), QStringList(u"com.ombru.mac org.example.Editor no"_s));
}

TEST_F(ConsentCommandTest, BelowAnApplicationOrInANamespaceNothingIsAllowed) {
    consent({u"deny"_s, u"TextEdit"_s});
    const auto line = u"'%1/ombru' consent allow TextEdit; exit $?"_s.arg(qEnvironmentVariable("OMBRU_BIN"));
    const auto below = run({u"-c"_s, line}, qEnvironmentVariable("OMBRU_BIN") + u"/../tests/stage/ombru"_s);
    EXPECT_TRUE(below.err.contains(u"A script cannot decide"_s)) << below;
    // Who may not make a namespace cannot try.
    for (const auto &space : {u"-pf"_s, u"-rpf"_s}) {
        if (run({space, u"true"_s}, u"/usr/bin/unshare"_s).status != 0)
            continue;
        const auto outcome = run({space, u"sh"_s, u"-c"_s, line}, u"/usr/bin/unshare"_s);
        EXPECT_TRUE(outcome.err.contains(u"A script cannot decide"_s)) << outcome;
    }
    EXPECT_EQ(recorded(), QStringList(u"com.ombru.mac org.example.Editor no"_s));
}

// --- the rest

TEST_F(ConsentCommandTest, DecidesForSeveralApplicationsAndForOtherPrograms) {
    EXPECT_EQ(consent({u"deny"_s, u"TextEdit"_s, u"System Events"_s, u"--for"_s, u"/opt/x"_s}).status, 0);
    EXPECT_EQ(recorded(), QStringList({u"/opt/x com.apple.systemevents no"_s, u"/opt/x org.example.Editor no"_s}));
}

TEST_F(ConsentCommandTest, AnApplicationThatIsNotInstalledIsDecidedByItsIdentifier) {
    const auto refused = consent({u"deny"_s, u"com.example.Absent"_s});
    EXPECT_EQ(refused.out, u"com.example.Absent: refused for ombru\n"_s) << refused;
}

TEST_F(ConsentCommandTest, AnUnknownNameChangesNothingAndIsSaid) {
    for (const auto &name : {u"Nonsense"_s, u"no such thing"_s, u""_s, u"a\" & (do shell script \"false\") & \""_s}) {
        const auto outcome = consent({u"allow"_s, u"TextEdit"_s, name});
        EXPECT_EQ(outcome.status, 2) << outcome;
        EXPECT_TRUE(outcome.err.contains(u"There is no application \"%1\""_s.arg(name))) << outcome;
    }
    EXPECT_EQ(recorded(), QStringList());
}

TEST_F(ConsentCommandTest, WhoCannotBeAClientIsSaid) {
    const auto outcome = consent({u"allow"_s, u"TextEdit"_s, u"--for"_s, u"bin/xterm"_s});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_TRUE(outcome.err.contains(u"full path"_s)) << outcome;
    EXPECT_EQ(recorded(), QStringList());
}

TEST_F(ConsentCommandTest, ListsInAlignedLines) {
    EXPECT_TRUE(consent({u"list"_s}).out.contains(u"Nothing is decided yet"_s));
    allow(scratch.directory(), {u"TextEdit"_s}, ownConsentClient());
    consent({u"deny"_s, u"System Events"_s, u"--for"_s, u"/opt/program/x"_s});
    const auto lines = consent({u"list"_s}).out.split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines[0].startsWith(u"/opt/program/x  System Events  refused  20"_s)) << lines[0].toStdString();
    EXPECT_TRUE(lines[1].startsWith(u"ombru           Writer's Desk  allowed  20"_s)) << lines[1].toStdString();
    const auto own = consent({u"list"_s, u"--for"_s, u"com.ombru.mac"_s}).out;
    EXPECT_TRUE(own.startsWith(u"ombru  Writer's Desk  allowed  20"_s)) << own.toStdString();
    EXPECT_EQ(own.count(u'\n'), 1);
    EXPECT_EQ(consent({u"list"_s, u"--for"_s, u"/opt/y"_s}).out, u"Nothing is decided for /opt/y.\n"_s);
}

TEST_F(ConsentCommandTest, IdentifiersAreListedOnlyOfWhatHasNoNameOfItsOwn) {
    const auto listed = [&] {
        QStringList lines;
        for (const auto &line : consent({u"list"_s}).out.split(u'\n', Qt::SkipEmptyParts))
            lines += line.section(u"  refused"_s, 0, 0).simplified();
        return lines;
    };
    consent({u"deny"_s, u"com.apple.systemevents"_s, u"org.example.Editor"_s, u"org.example.Gone"_s});
    EXPECT_EQ(listed(), (QStringList{u"ombru System Events"_s, u"ombru Writer's Desk"_s, u"ombru org.example.Gone"_s}));
    for (const auto &[id, name] : {std::pair("org.example.Other", "Writer's Desk"), {"org.example.False", "ombru"}})
        scratch.write(u"applications/%1.desktop"_s.arg(QLatin1StringView(id)),
                      QByteArray("[Desktop Entry]\nType=Application\nExec=/bin/true\nName=") + name + '\n');
    consent({u"deny"_s, u"org.example.Other"_s, u"--for"_s, u"org.example.False"_s});
    EXPECT_EQ(listed(), (QStringList{u"ombru System Events"_s, u"ombru Writer's Desk (org.example.Editor)"_s,
                                     u"ombru org.example.Gone"_s,
                                     u"ombru (org.example.False) Writer's Desk (org.example.Other)"_s}));
}

TEST_F(ConsentCommandTest, AProgramsNameStaysInItsLine) {
    const auto decided = consent({u"deny"_s, u"TextEdit"_s, u"--for"_s, u"/opt/a\nb\t\r\033[2J"_s});
    EXPECT_TRUE(decided.out.endsWith(u": refused for /opt/a«U+000A»b«U+0009»«U+000D»«U+001B»[2J\n"_s)) << decided;
    const auto listed = consent({u"list"_s}).out;
    EXPECT_TRUE(listed.startsWith(u"/opt/a«U+000A»b«U+0009»«U+000D»«U+001B»[2J  Writer's Desk  refused  20"_s))
        << listed.toStdString();
    EXPECT_EQ(listed.count(u'\n'), 1);
}

TEST_F(ConsentCommandTest, NamesThatLookAlikeAreListedAsTheyAre) {
    for (const auto &client : {u"/usr/bin/xterm"_s, u"/usr/bin/xterm\u200B"_s, u"/usr/bin/\u202Emretx"_s})
        consent({u"deny"_s, u"TextEdit"_s, u"--for"_s, client});
    const auto listed = consent({u"list"_s}).out;
    for (const auto &client : {u"/usr/bin/xterm "_s, u"/usr/bin/xterm«U+200B» "_s, u"/usr/bin/«U+202E»mretx "_s})
        EXPECT_TRUE(listed.contains(client)) << listed.toStdString();
}

TEST_F(ConsentCommandTest, WhatIsTooLongForANameIsNoneAndIsNotRepeatedInFull) {
    const auto longest = u"a."_s + QString(253, u'b');
    EXPECT_EQ(consent({u"deny"_s, longest}).status, 0);
    for (const auto &words : {QStringList{u"allow"_s, longest + u'b'}, QStringList{u"allow"_s, QString(100'000, u'a')},
                              QStringList{u"list"_s, u"--for"_s, longest + u'b'}}) {
        const auto outcome = consent(words);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_LT(outcome.err.size(), 250);
        EXPECT_TRUE(outcome.err.contains(u"…\""_s)) << outcome.err.left(300).toStdString();
    }
    EXPECT_EQ(recorded(), QStringList(u"com.ombru.mac "_s + longest + u" no"_s));
}

TEST_F(ConsentCommandTest, AnOutputThatIsFullIsNoSuccess) {
    const auto program = qEnvironmentVariable("OMBRU_BIN") + u"/ombru"_s;
    for (const auto &words : {u"consent list"_s, u"status"_s, u"status --json"_s, u"doctor"_s}) {
        auto process = Process::make({.program = u"/bin/sh"_s,
                                      .arguments = {u"-c"_s, u"'%1' %2 >/dev/full"_s.arg(program, words)},
                                      .directory = scratch.directory(),
                                      .environment = ownEnvironment()});
        ASSERT_TRUE(process->start());
        await(process->ended());
        EXPECT_EQ(process->status(), 1) << words.toStdString();
        EXPECT_TRUE(process->takeErrors().contains("could not be written")) << words.toStdString();
    }
}

// What the record says and what happens to scripts are one.
TEST_F(ConsentCommandTest, ARecordThatCannotBeUsedAllowsNothingInTheStatusEither) {
    const auto state = [this] {
        const auto object = QJsonDocument::fromJson(run({u"status"_s, u"--json"_s}).out.toUtf8()).object();
        return object[u"applications"_s][u"com.apple.systemevents"_s][u"state"_s].toString();
    };
    allow(scratch.directory(), {u"System Events"_s}, ownConsentClient());
    EXPECT_EQ(state(), u"granted"_s);
    ASSERT_TRUE(QFile::setPermissions(scratch.path(u"ombru/consent.db"_s),
                                      QFile::ReadOwner | QFile::WriteOwner | QFile::WriteOther));
    EXPECT_EQ(state(), u"unknown"_s);
}

TEST_F(ConsentCommandTest, ListsForPrograms) {
    allow(scratch.directory(), {u"TextEdit"_s}, ownConsentClient());
    const auto object = QJsonDocument::fromJson(consent({u"list"_s, u"--json"_s}).out.toUtf8()).object();
    EXPECT_EQ(object[u"client"_s], u"com.ombru.mac"_s);
    EXPECT_EQ(object[u"application"_s], u"org.example.Editor"_s);
    EXPECT_EQ(object[u"name"_s], u"Writer's Desk"_s);
    EXPECT_EQ(object[u"allowed"_s], true);
    EXPECT_TRUE(QDateTime::fromString(object[u"time"_s].toString(), Qt::ISODate).isValid());
    EXPECT_EQ(consent({u"list"_s, u"--json"_s, u"--for"_s, u"/opt/x"_s}).out, QString());
}

TEST_F(ConsentCommandTest, WhatCannotBeSeenInANameIsShownToProgramsToo) {
    scratch.write(u"applications/sly.desktop"_s,
                  "[Desktop Entry]\nType=Application\nExec=true\nName=Mail\xE2\x80\x8B\n");
    allow(scratch.directory(), {u"sly"_s}, ownConsentClient());
    const auto object = QJsonDocument::fromJson(consent({u"list"_s, u"--json"_s}).out.toUtf8()).object();
    EXPECT_EQ(object[u"name"_s], u"Mail«U+200B»"_s);
}

TEST_F(ConsentCommandTest, ARecordThatCannotBeUsedIsNamed) {
    QDir().mkpath(scratch.path(u"ombru"_s));
    scratch.write(u"ombru/consent.db"_s, QByteArray(5000, 'x'));
    for (const auto &words :
         {QStringList{u"list"_s}, QStringList{u"allow"_s, u"TextEdit"_s}, QStringList{u"forget"_s, u"TextEdit"_s}}) {
        const auto outcome = consent(words);
        EXPECT_EQ(outcome.status, 1) << outcome;
        EXPECT_TRUE(outcome.err.contains(scratch.path(u"ombru/consent.db"_s))) << outcome;
    }
}

// As one that is installed does. Its own tests run where it was built.
TEST_F(ConsentCommandTest, OutsideOfItsBuildItReadsTheAccountsRecordWhateverItsEnvironmentSays) {
    const auto client = scratch.path(u"client"_s);
    consent({u"deny"_s, u"TextEdit"_s, u"--for"_s, client});
    const auto copy = scratch.path(u"ombru-elsewhere"_s);
    ASSERT_TRUE(QFile::copy(qEnvironmentVariable("OMBRU_BIN") + u"/ombru"_s, copy));
    EXPECT_TRUE(consent({u"list"_s, u"--for"_s, client}).out.contains(u"refused"_s));
    EXPECT_EQ(run({u"consent"_s, u"list"_s, u"--for"_s, client}, copy).out,
              u"Nothing is decided for %1.\n"_s.arg(client));
}

// An agent that was refused must not help itself.
TEST_F(ConsentCommandTest, AScriptCannotDecide) {
    consent({u"deny"_s, u"TextEdit"_s});
    for (const auto &words : {u"allow TextEdit"_s, u"forget TextEdit"_s, u"allow TextEdit --for /bin/sh"_s}) {
        const auto line = u"do shell script \"'%1/ombru' consent %2\""_s.arg(qEnvironmentVariable("OMBRU_BIN"), words);
        const auto outcome = run({u"-e"_s, line}, u"osascript"_s);
        EXPECT_EQ(outcome.status, 1) << outcome;
        EXPECT_TRUE(outcome.err.contains(u"A script cannot decide"_s)) << outcome;
    }
    for (const auto &name : {u"copy"_s, u"ombru-consent-prompt"_s}) {
        const auto copy = scratch.path(name);
        ASSERT_TRUE(QFile::copy(qEnvironmentVariable("OMBRU_BIN") + u"/ombru"_s, copy));
        const auto outcome =
            run({u"-e"_s, u"do shell script \"'%1' consent allow org.example.Editor\""_s.arg(copy)}, u"osascript"_s);
        EXPECT_TRUE(outcome.err.contains(u"A script cannot decide"_s)) << outcome;
    }
    EXPECT_EQ(recorded(), QStringList(u"com.ombru.mac org.example.Editor no"_s));
}
