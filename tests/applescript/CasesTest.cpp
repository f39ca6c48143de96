// Every script in a chapter (a folder) of tests/applescript/cases runs as the tool runs it; what it prints is in
// NAME.out, what it complains of in NAME.err, and NAME.host says how the computer answers and, after ">", what was done
// to it. OMBRU_ACCEPT=1 writes what happened as what is expected.
#include "applescript/Osascript.h"
#include "tests/support/ScriptedHost.h"

#include <QBuffer>
#include <QDir>

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

QDir casesDirectory() {
    return QDir(qEnvironmentVariable("OMBRU_SOURCE") + u"/tests/applescript/cases"_s);
}

QString read(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void write(const QString &path, const QString &text) {
    if (text.isEmpty()) {
        QFile::remove(path);
        return;
    }
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(path);
    file.write(text.toUtf8());
}

struct Outcome {
    int status = 0;
    QString out;
    QString err;
    QStringList calls;
};

Outcome runScript(const QString &script, const QString &hostScript, const QStringList &arguments = {u"-"_s}) {
    ScriptedHost host(hostScript);
    QByteArray input = script.toUtf8(), output, errors;
    QBuffer in(&input), out(&output), err(&errors);
    in.open(QIODevice::ReadOnly);
    out.open(QIODevice::WriteOnly);
    err.open(QIODevice::WriteOnly);
    const int status = runOsascript(arguments, in, out, err, host);
    return {status, QString::fromUtf8(output), host.logged + QString::fromUtf8(errors), host.calls};
}

QString configuration(const QString &hostScript) {
    QString kept;
    for (const auto &line : hostScript.split(u'\n', Qt::SkipEmptyParts)) {
        if (!line.startsWith(u'>'))
            kept += line + u'\n';
    }
    return kept;
}

QString expectedCalls(const QStringList &calls) {
    QString text;
    for (const auto &call : calls)
        text += u"> "_s + call + u'\n';
    return text;
}

class CasesTest : public ::testing::TestWithParam<std::string> {};

// "CHAPTER/NAME"
std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const auto &chapter : casesDirectory().entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        const QDir directory(casesDirectory().filePath(chapter));
        for (const auto &file : directory.entryInfoList({u"*.applescript"_s}, QDir::Files, QDir::Name))
            all.push_back((chapter + u'/' + file.completeBaseName()).toStdString());
    }
    return all;
}

// A test's name has letters, digits and underscores only.
std::string testName(const ::testing::TestParamInfo<std::string> &info) {
    std::string name = info.param;
    std::ranges::replace(name, '/', '_');
    return name;
}

} // namespace

TEST_P(CasesTest, does) {
    const QString base = casesDirectory().filePath(QString::fromStdString(GetParam()));
    const QString host = read(base + u".host"_s);
    const Outcome outcome = runScript(read(base + u".applescript"_s), host);
    if (qEnvironmentVariableIntValue("OMBRU_ACCEPT") == 1) {
        write(base + u".out"_s, outcome.out);
        write(base + u".err"_s, outcome.err);
        write(base + u".host"_s, configuration(host) + expectedCalls(outcome.calls));
        return;
    }
    EXPECT_EQ(outcome.out.toStdString(), read(base + u".out"_s).toStdString());
    EXPECT_EQ(outcome.err.toStdString(), read(base + u".err"_s).toStdString());
    EXPECT_EQ((configuration(host) + expectedCalls(outcome.calls)).toStdString(), host.toStdString());
    EXPECT_EQ(outcome.status, outcome.err.contains(u" error: "_s) ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(cases, CasesTest, ::testing::ValuesIn(names()), testName);

TEST(Robustness, damagedScriptsEndInAnAnswerAndNeverInACrash) {
    std::mt19937 random(20261121);
    const auto below = [&random](qsizetype limit) {
        return qsizetype(random() % unsigned(std::max<qsizetype>(1, limit)));
    };
    static const QStringList pieces = {u"("_s,    u")"_s,   u"{"_s,  u"end"_s,     u"\n"_s,     u"tell"_s,
                                       u" of "_s, u"'s "_s, u"\""_s, u"«"_s,       u"¬"_s,      u" as "_s,
                                       u"(*"_s,   u"|"_s,   u"-1"_s, u" whose "_s, u" every "_s};
    int ran = 0;
    for (const auto &name : names()) {
        const QString base = casesDirectory().filePath(QString::fromStdString(name));
        const QString script = read(base + u".applescript"_s);
        if (script.contains(u"repeat"_s))
            continue; // a damaged loop may rightly never end
        for (int round = 0; round < 20; ++round) {
            QString damaged = script;
            const auto at = below(damaged.size());
            if (round % 3 == 0)
                damaged.truncate(at);
            else if (round % 3 == 1)
                damaged.remove(at, 1 + below(8));
            else
                damaged.insert(at, pieces[below(pieces.size())]);
            const auto outcome = runScript(damaged, read(base + u".host"_s));
            EXPECT_TRUE(outcome.status == 0 || outcome.err.contains(u" error: "_s)) << damaged.toStdString();
            ++ran;
        }
    }
    EXPECT_GT(ran, 100);
}

TEST(Robustness, nestingWithoutEndIsAnErrorAndNotACrash) {
    for (const auto &piece : {u"("_s, u"{"_s, u"not "_s, u"- "_s, u"x of "_s, u"tell me to "_s, u"if true then "_s,
                              u"2 ^ "_s, u"try\n"_s, u"script\n"_s, u"a reference to "_s, u"f("_s, u"my "_s}) {
        const auto outcome = runScript(piece.repeated(200000), {});
        EXPECT_EQ(outcome.status, 1) << piece.toStdString();
        EXPECT_TRUE(outcome.err.contains(u" error: "_s)) << piece.toStdString();
    }
}

TEST(Robustness, aHandlerThatCallsItselfForeverOverflowsTheStackAsAnError) {
    const auto outcome = runScript(u"on f(n)\nreturn f(n + 1)\nend f\nf(1)"_s, {});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.err.contains(u"Stack overflow. (-2706)"_s)) << outcome.err.toStdString();
}

TEST(Robustness, listsNestedAMillionDeepAndListsThatHoldThemselvesAreFreed) {
    EXPECT_EQ(runScript(u"set L to {}\nrepeat 1000000 times\nset L to {L}\nend repeat\nreturn 1"_s, {}).out, u"1\n"_s);
    const auto circle = runScript(u"set L to {1}\nset end of L to L\nreturn L"_s, {});
    EXPECT_TRUE(circle.err.contains(u"(-2706)"_s)) << circle.err.toStdString();
}

TEST(Robustness, aLongChainOfOperatorsIsNoDeepTree) {
    EXPECT_EQ(runScript(u"return 1"_s + u" + 1"_s.repeated(100000), {}).out, u"100001\n"_s);
}

TEST(CommandLine, linesOfDashEAreOneScript) {
    EXPECT_EQ(runScript({}, {}, {u"-e"_s, u"set x to 2"_s, u"-e"_s, u"return x * 21"_s}).out, u"42\n"_s);
}

TEST(CommandLine, argumentsReachOnRun) {
    const QString script = u"on run argv\nreturn item 2 of argv & (count argv)\nend run"_s;
    EXPECT_EQ(runScript(script, {}, {u"-"_s, u"a"_s, u"b c"_s}).out, u"b c2\n"_s);
    EXPECT_EQ(runScript({}, {}, {u"-e"_s, script, u"a"_s, u"b"_s}).out, u"b2\n"_s);
}

TEST(CommandLine, sourceFormQuotesAndBraces) {
    EXPECT_EQ(runScript({}, {}, {u"-ss"_s, u"-e"_s, u"{\"a\", {1, 2}, \"q\\\"\"}"_s}).out,
              u"{\"a\", {1, 2}, \"q\\\"\"}\n"_s);
}

TEST(CommandLine, errorsGoToStandardOutputWhenAskedTo) {
    EXPECT_EQ(runScript({}, {}, {u"-so"_s, u"-e"_s, u"error \"no\" number 7"_s}).out,
              u"0:19: execution error: no (7)\n"_s);
}

TEST(CommandLine, otherLanguagesAndUnknownOptionsAreRefused) {
    const auto javaScript = runScript({}, {}, {u"-l"_s, u"JavaScript"_s, u"-e"_s, u"1"_s});
    EXPECT_EQ(javaScript.status, 1);
    EXPECT_TRUE(javaScript.err.contains(u"only AppleScript runs here"_s));
    EXPECT_EQ(runScript({}, {}, {u"-x"_s}).status, 1);
    EXPECT_EQ(runScript({}, {}, {u"-i"_s}).status, 1);
    EXPECT_EQ(runScript({}, {}, {u"-e"_s}).status, 1);
    EXPECT_EQ(runScript({}, {}, {u"/nowhere/at/all.applescript"_s}).status, 1);
}

} // namespace ombru::applescript
