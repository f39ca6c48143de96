// What `ombru run --json` prints for programs, by the built program: against the schema that says what it is, with and
// without the application that stays.
#include "app/cli/TaskLines.h"
#include "tests/app/ResidentJourney.h"

#include <QJsonArray>
#include <QSet>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString SCHEMA = u"/docs/run-json.schema.json"_s;

QString source() {
    return qEnvironmentVariable("OMBRU_SOURCE");
}

QStringList types(const QList<QJsonObject> &lines) {
    QStringList all;
    for (const auto &line : lines)
        all += line[u"type"_s].toString();
    return all;
}

QStringList typesAndFields(const QList<QJsonObject> &lines) {
    QStringList all;
    for (const auto &line : lines)
        all += line[u"type"_s].toString() + u": "_s + line.keys().join(u' ');
    return all;
}

QStringList typesOfSchema() {
    const auto schema = QJsonDocument::fromJson(contents(source() + SCHEMA)).object();
    QStringList all;
    for (const auto &each : schema[u"oneOf"_s].toArray())
        all += each.toObject()[u"$ref"_s].toString().section(u'/', -1);
    return all;
}

} // namespace

class RunJson : public ResidentJourney {
protected:
    ~RunJson() override {
        const auto check = Process::make(
            {.program = source() + u"/tests/support/check-lines"_s, .arguments = {source() + SCHEMA}, .input = m_all});
        EXPECT_TRUE(check->start());
        const auto finished = end(check);
        EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    }

    struct Ran {
        int status = -1;
        QList<QJsonObject> lines;
    };

    // Every line is checked against the schema in the end.
    Ran tell(const QStringList &arguments) {
        QFile::remove(m_scratch.path(u"claude/asked"_s));
        return take(start(QStringList{u"--json"_s} + arguments));
    }
    Ran take(const std::shared_ptr<Process> &process) {
        await(process->ended());
        Ran ran{process->status(), {}};
        for (const auto &line : process->takeOutput().split('\n')) {
            if (line.isEmpty())
                continue;
            const auto document = QJsonDocument::fromJson(line);
            EXPECT_TRUE(document.isObject()) << line.toStdString();
            ran.lines += document.object();
            m_all += line + '\n';
        }
        return ran;
    }
    // A task of two turns, with a script that is run and one that is not.
    void teachTask() {
        reply({u"I count.\n```applescript\nreturn 6 * 7\n```\n```applescript\nreturn 1\n```"_s, u"DONE: It is 42."_s});
    }
    // It works until it is ended.
    void wait() { playQuestions("echo $$ >\"$HOME/claude.pid\"; exec sleep 1000"); }
    void startResident() {
        m_application = startApplication();
        ASSERT_TRUE(waitUntil([this] { return QFile::exists(socket()); }));
    }

    QByteArray m_all;
};

TEST_F(RunJson, TellsWhatHappensInFields) {
    teachTask();
    const auto [status, lines] = tell({u"go"_s});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(types(lines), (QStringList{u"task"_s, u"step"_s, u"screenshot"_s, u"reply"_s, u"said"_s, u"script"_s,
                                         u"note"_s, u"result"_s, u"step"_s, u"screenshot"_s, u"reply"_s, u"end"_s}));
    ASSERT_EQ(lines.size(), 12);
    EXPECT_EQ(lines[0][u"task"_s], u"go"_s);
    EXPECT_EQ(lines[0][u"step"_s], 0);
    EXPECT_EQ(lines[1][u"most"_s], 15);
    EXPECT_TRUE(QFile::exists(lines[2][u"file"_s].toString()));
    EXPECT_EQ(lines[4][u"text"_s], u"I count."_s);
    EXPECT_EQ(lines[5][u"script"_s], u"return 6 * 7"_s);
    EXPECT_EQ(lines[7][u"ok"_s], true);
    EXPECT_EQ(lines[7][u"output"_s], u"42"_s);
    EXPECT_EQ(lines[7][u"step"_s], 1);
    EXPECT_EQ(lines[11][u"step"_s], 2);
    EXPECT_EQ(lines[11][u"outcome"_s], u"done"_s);
    EXPECT_EQ(lines[11][u"answer"_s], u"It is 42."_s);
    EXPECT_EQ(lines[11][u"session"_s], u"session-1"_s);
    EXPECT_EQ(lines[11][u"status"_s], 0);
}

TEST_F(RunJson, IsTheSameWithTheApplication) {
    teachTask();
    const auto alone = tell({u"go"_s});
    startResident();
    const auto handedOver = tell({u"go"_s});
    EXPECT_EQ(handedOver.status, alone.status);
    EXPECT_EQ(typesAndFields(handedOver.lines), typesAndFields(alone.lines));
    EXPECT_EQ(tell({u"--max-steps"_s, u"none"_s, u"go"_s}).status, 2);
    wait();
    const auto first = start({u"--json"_s, u"wait"_s});
    ASSERT_GT(claudePid(), 0);
    const auto second = tell({u"another"_s});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(types(second.lines), (QStringList{u"task"_s, u"error"_s}));
    first->terminate();
    const auto stopped = take(first);
    EXPECT_EQ(stopped.status, 130);
    EXPECT_EQ(stopped.lines.last()[u"outcome"_s], u"cancelled"_s);
}

TEST_F(RunJson, ABusyDesktopIsAnError) {
    wait();
    const auto first = start({u"wait"_s});
    ASSERT_GT(claudePid(), 0);
    const auto [status, lines] = tell({u"another"_s});
    EXPECT_EQ(status, 1);
    EXPECT_EQ(types(lines), (QStringList{u"task"_s, u"error"_s}));
    EXPECT_EQ(lines.last()[u"reason"_s], u"busy"_s);
    first->terminate();
    EXPECT_EQ(end(first).status, 130);
}

TEST_F(RunJson, WrongWordsAreAnError) {
    teachTask();
    for (const auto &words : QList<QStringList>{{u"--max-steps"_s, u"none"_s, u"go"_s},
                                                {u"--wings"_s, u"go"_s},
                                                {},
                                                {u" "_s},
                                                {u"-"_s},
                                                {u"--continue"_s, u"go"_s},
                                                {u"--fresh"_s, u"--continue"_s, u"go"_s}}) {
        const auto [status, lines] = tell(words);
        EXPECT_EQ(status, 2) << words.join(u' ').toStdString();
        ASSERT_EQ(types(lines), QStringList{u"error"_s}) << words.join(u' ').toStdString();
        EXPECT_EQ(lines[0][u"reason"_s], u"usage"_s);
        EXPECT_EQ(lines[0][u"status"_s], 2);
    }
}

TEST_F(RunJson, EveryTypeOfTheSchemaIsPrinted) {
    QStringList seen;
    const auto note = [&](const Ran &ran) { seen += types(ran.lines); };
    teachTask();
    note(tell({u"go"_s}));
    decide(data(), ownConsentClient(), {u"TextEdit"_s}, false);
    reply({u"```applescript\ntell application \"TextEdit\" to activate\n```"_s, u"I could not."_s});
    const auto refused = tell({u"go"_s});
    EXPECT_EQ(refused.status, 3);
    EXPECT_EQ(refused.lines.last()[u"blocked"_s].toArray().size(), 1);
    note(refused);
    playQuestions("exit 3");
    const auto failed = tell({u"go"_s});
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.lines.last()[u"outcome"_s], u"failed"_s);
    note(failed);
    const auto alone = tell({u"--detach"_s, u"go"_s});
    EXPECT_EQ(alone.status, 1);
    EXPECT_EQ(alone.lines.last()[u"reason"_s], u"unavailable"_s);
    note(alone);
    teachTask();
    startResident();
    note(tell({u"--detach"_s, u"go"_s}));
    m_all += TaskLines::dropped(3, 1) + '\n';
    seen += u"dropped"_s;
    const auto described = typesOfSchema();
    EXPECT_EQ(QSet<QString>(seen.begin(), seen.end()), QSet<QString>(described.begin(), described.end()));
}
