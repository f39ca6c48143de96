// No event reaches an application that the owner has refused, however a script is written; and what sends no event asks
// for nothing.
#include "applescript/Osascript.h"
#include "tests/support/ScriptedHost.h"
#include "tests/support/Wait.h"

#include <QBuffer>

#include <gtest/gtest.h>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

const QString COMPUTER = u"application org.example.editor Editor\n"
                         "application org.example.files Files\n"
                         "running org.example.editor\n"
                         "opener org.example.editor\n"
                         "process 11 org.example.editor Editor\n"
                         "process 12 org.example.files Files\n"
                         "window 11 101 10 20 300 200 notes.txt\n"
                         "window 12 102 10 20 300 200 Home\n"_s;
const QString NO_EDITOR = COMPUTER + u"refuse org.example.editor\n"_s;
const QString NO_SYSTEM_EVENTS = COMPUTER + u"refuse com.apple.systemevents\n"_s;

// Words of applications mean something here without telling one.
#define TERMS(SCRIPT) "using terms from application \"Files\"\n" SCRIPT "\nend using terms from"
#define SYSTEM_TERMS(SCRIPT) "using terms from application \"System Events\"\n" SCRIPT "\nend using terms from"

struct Outcome {
    QString out;
    QString err;
    QStringList calls;
    QStringList asked;
};

Outcome run(const QString &script, const QString &computer) {
    ScriptedHost host(computer);
    QByteArray input = script.toUtf8(), output, errors;
    QBuffer in(&input), out(&output), err(&errors);
    in.open(QIODevice::ReadOnly);
    out.open(QIODevice::WriteOnly);
    err.open(QIODevice::WriteOnly);
    runOsascript({u"-"_s}, in, out, err, host);
    return {QString::fromUtf8(output), host.logged + QString::fromUtf8(errors), host.calls, host.authorizations};
}

std::ostream &operator<<(std::ostream &stream, const Outcome &outcome) {
    return stream << "output \"" << outcome.out.toStdString() << "\", errors \"" << outcome.err.toStdString()
                  << "\", done: " << outcome.calls.join(u"; "_s).toStdString();
}

class ToTheEditor : public ::testing::TestWithParam<const char *> {};
class ToSystemEvents : public ::testing::TestWithParam<const char *> {};
class WithoutAnEvent : public ::testing::TestWithParam<const char *> {};

} // namespace

TEST_P(ToTheEditor, isRefused) {
    const auto script = QString::fromUtf8(GetParam());
    const auto refused = run(script, NO_EDITOR);
    EXPECT_TRUE(refused.err.contains(u": execution error: Not authorized to send Apple events to Editor. (-1743)\n"_s))
        << refused;
    EXPECT_EQ(refused.calls, QStringList()) << refused;
    EXPECT_EQ(refused.out, QString());
    // The script is one that works where it may.
    const auto allowed = run(script, COMPUTER);
    EXPECT_EQ(allowed.err, QString()) << allowed;
    EXPECT_TRUE(allowed.asked.contains(u"org.example.editor"_s)) << allowed;
}

INSTANTIATE_TEST_SUITE_P(
    everyWay, ToTheEditor,
    ::testing::Values(
        "tell application \"Editor\" to activate", "activate application \"Editor\"",
        "tell application \"EDITOR\" to launch", "tell application \"Editor\"\nreopen\nend tell",
        "tell application id \"org.example.editor\" to activate",
        "tell application id (\"org.EXAMPLE.\" & \"editor\") to activate",
        "set n to \"Edi\" & \"tor\"\ntell application n to quit", "set a to application \"Editor\"\nquit a",
        "set a to application \"Editor\"\ntell a to quit", "run application \"Editor\"",
        "launch application \"Editor\"", "tell application \"Editor\" to open POSIX file \"/tmp/x\"",
        "open location \"file:///tmp/x\"", "open location \" FILE://localhost/tmp/x\"",
        "tell application \"Files\" to open location \"file:///tmp/x?y#z\"",
        TERMS("frontmost of application \"Editor\""), TERMS("set frontmost of application \"Editor\" to true"),
        TERMS("name of window 1 of application \"Editor\""),
        TERMS("set w to a reference to window 1 of application \"Editor\"\nreturn name of w"),
        TERMS("set w to a reference to name of window 1 of application \"Editor\"\nreturn (contents of w) & \"\""),
        TERMS(
            "set w to a reference to bounds of window 1 of application \"Editor\"\nset contents of w to {0, 0, 9, 9}"),
        "tell application \"Editor\" to count windows", TERMS("exists window 1 of application \"Editor\""),
        "tell application \"Editor\" to get every window whose name is \"notes.txt\"",
        "tell application \"Editor\" to close window 1",
        TERMS("repeat with w in (windows of application \"Editor\")\nset miniaturized of w to true\nend repeat"),
        TERMS("return {name of window 1 of application \"Editor\"}"),
        TERMS("return {n:name of window 1 of application \"Editor\"}"),
        TERMS("if frontmost of application \"Editor\" then return 1"),
        TERMS("\"x\" & name of window 1 of application \"Editor\""),
        "tell application \"Editor\"\nset {n, b} to {name, bounds} of window 1\nend tell",
        "tell me\ntell application \"Editor\" to activate\nend tell",
        "with timeout of 5 seconds\ntell application \"Editor\" to activate\nend timeout",
        "using terms from application \"Files\"\ntell application \"Editor\" to activate\nend using terms from",
        "run script \"tell application \\\"Editor\\\" to activate\"",
        "run script \"run script \\\"activate application \\\\\\\"Editor\\\\\\\"\\\"\"",
        "set w to run script \"tell application \\\"Editor\\\" to return a reference to window 1\"\nreturn name of w",
        "on f(a)\ntell a to activate\nend f\nf(application \"Editor\")",
        "script s\nproperty a : application \"Editor\"\nend script\ntell s's a to activate",
        "on f(a)\nactivate a\nend f\nscript s\non g(h)\nmy f(h)\nend g\non f(a)\nactivate a\nend f\nend script\n"
        "tell s to g(application \"Editor\")",
        "set s to run script \"script\non f()\ntell application \\\"Editor\\\" to activate\nend f\nend script\"\n"
        "tell s to f()",
        "set s to run script \"script\nproperty a : application \\\"Editor\\\"\nend script\"\nactivate (s's a)",
        "repeat with a in {application \"Editor\"}\nactivate a\nend repeat",
        "set r to {a:application \"Editor\"}\ntell a of r to activate", "tell (application \"Editor\") to activate",
        "ignoring application responses\ntell application \"Editor\" to activate\nend ignoring",
        "considering case\ntell application \"Editor\" to activate\nend considering",
        "try\ntell application \"Editor\" to activate\non error number -1728\nreturn 1\nend try",
        "try\nerror \"x\"\non error\ntell application \"Editor\" to activate\nend try"));

TEST_P(ToSystemEvents, isRefused) {
    const auto script = QString::fromUtf8(GetParam());
    const auto refused = run(script, NO_SYSTEM_EVENTS);
    EXPECT_TRUE(
        refused.err.contains(u": execution error: Not authorized to send Apple events to System Events. (-1743)\n"_s))
        << refused;
    EXPECT_EQ(refused.calls, QStringList()) << refused;
    const auto allowed = run(script, COMPUTER);
    EXPECT_EQ(allowed.err, QString()) << allowed;
}

INSTANTIATE_TEST_SUITE_P(
    everyWay, ToSystemEvents,
    ::testing::Values("tell application \"System Events\" to keystroke \"a\"",
                      "tell application id \"com.apple.SYSTEMEVENTS\" to key code 36",
                      "tell application \"System Events\" to key down shift",
                      "tell application \"System Events\" to click at {1, 1}",
                      "tell application \"System Events\" to tell process \"Editor\" to click window 1",
                      "tell application \"System Events\" to set frontmost of process \"Editor\" to true",
                      "tell application \"System Events\" to set visible of process 1 to false",
                      "tell application \"System Events\" to perform action \"AXRaise\" of window 1 of process 1",
                      "tell application \"System Events\" to get name of every process",
                      "tell application \"System Events\" to get name of processes whose frontmost is true",
                      SYSTEM_TERMS("exists process \"Editor\" of application \"System Events\""),
                      SYSTEM_TERMS("name of (first process of application \"System Events\" whose frontmost is true)"),
                      SYSTEM_TERMS("set p to process 1 of application \"System Events\"\nreturn name of p"),
                      "tell application \"System Events\" to activate",
                      "tell application (\"System\" & space & \"Events\")\nkeystroke \"a\"\nend tell"));

// The refused application is named, not the one in whose name the script was speaking.
TEST(Authorization, anEventFromInsideAnotherApplicationsBlockOrTestIsItsOwn) {
    const auto nested =
        run(u"tell application \"Files\"\nactivate\ntell application \"Editor\" to activate\nend tell"_s, NO_EDITOR);
    EXPECT_TRUE(nested.err.endsWith(u"execution error: Not authorized to send Apple events to Editor. (-1743)\n"_s));
    EXPECT_EQ(nested.calls, QStringList{u"activate org.example.files"_s});
    const auto test = run(u"tell application \"Files\" to get every window whose name is (name of window 1 of "
                          "application \"Editor\")"_s,
                          NO_EDITOR);
    EXPECT_TRUE(test.err.endsWith(u"execution error: Not authorized to send Apple events to Editor. (-1743)\n"_s))
        << test;
}

TEST(Authorization, aFileIsNoNameOfAnApplication) {
    const auto outcome =
        run(u"tell application (POSIX file \"/usr/share/applications/org.example.editor.desktop\") to activate"_s,
            COMPUTER);
    EXPECT_TRUE(outcome.err.contains(u"(-1728)"_s)) << outcome;
    EXPECT_EQ(outcome.calls, QStringList());
}

TEST(Authorization, isAskedForBeforeEveryEvent) {
    const auto outcome =
        run(u"tell application \"Editor\"\nrepeat 1000 times\nactivate\nend repeat\nend tell"_s, COMPUTER);
    EXPECT_EQ(outcome.asked.size(), 1000);
}

TEST(Authorization, aRefusalCanBeCaughtByItsNumber) {
    const auto outcome = run(u"try\ntell application \"Editor\" to activate\non error message number -1743\n"
                             "return message\nend try"_s,
                             NO_EDITOR);
    EXPECT_EQ(outcome.out, u"Not authorized to send Apple events to Editor.\n"_s) << outcome;
    EXPECT_EQ(outcome.calls, QStringList());
}

TEST_P(WithoutAnEvent, nobodyIsAsked) {
    const auto script = QString::fromUtf8(GetParam());
    const auto outcome = run(script, NO_EDITOR + u"refuse com.apple.systemevents\n"_s);
    EXPECT_EQ(outcome.err, QString()) << outcome;
    EXPECT_NE(outcome.out, QString());
    EXPECT_EQ(outcome.asked, QStringList());
}

INSTANTIATE_TEST_SUITE_P(everyWay, WithoutAnEvent,
                         ::testing::Values("id of application \"Editor\"", "name of application \"Editor\"",
                                           "get name of application id \"org.example.editor\"",
                                           "application \"Editor\" is running", "running of application \"Editor\"",
                                           "tell application \"Editor\" to return running",
                                           "tell application \"Editor\"\nreturn name\nend tell",
                                           "tell application \"Editor\"\nreturn its id\nend tell",
                                           "tell application \"Editor\"\nif it is running then return 1\nend tell",
                                           "tell application \"System Events\" to return name",
                                           "exists application \"Editor\"", "class of application \"Editor\"",
                                           "application \"Editor\"", "tell application \"Editor\" to return 1 + 1",
                                           "tell application \"Editor\" to return (do shell script \"echo 1\") & \"x\"",
                                           "open location \"https://example.org\"\nreturn 1"));

} // namespace ombru::applescript
