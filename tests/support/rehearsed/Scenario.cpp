#include "tests/support/rehearsed/Scenario.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <csignal>

namespace ombru::rehearsed {
namespace {

using namespace Qt::StringLiterals;

Failure failure(const QString &name, qsizetype line, const QString &what) {
    return {u"rehearsed"_s, 0, u"%1:%2: %3"_s.arg(name, QString::number(line), what)};
}

std::optional<int> signalNumber(const QString &name) {
    static const QHash<QString, int> numbers{
        {u"SIGABRT"_s, SIGABRT}, {u"SIGKILL"_s, SIGKILL}, {u"SIGSEGV"_s, SIGSEGV}, {u"SIGTERM"_s, SIGTERM}};
    const auto found = numbers.constFind(name);
    return found == numbers.cend() ? std::nullopt : std::optional(*found);
}

std::optional<int> positive(const QString &text, int smallest = 1) {
    bool ok = false;
    const int number = text.toInt(&ok);
    return ok && number >= smallest ? std::optional(number) : std::nullopt;
}

bool setNumber(Answer &answer, const QString &word, const QString &value) {
    const auto number = positive(value, word == u"exit"_s ? 0 : 1);
    if (!number)
        return false;
    if (word == u"delay"_s)
        answer.behaviour.delay = std::chrono::milliseconds(*number);
    else if (word == u"pad"_s)
        answer.behaviour.padding = qint64(*number) * 1'000'000;
    else if (word == u"next"_s)
        answer.next = number;
    else if (word == u"exit"_s && *number < 256)
        answer.behaviour.exitStatus = number;
    else
        return false;
    return true;
}

bool setFlag(Behaviour &behaviour, const QString &word) {
    static const QHash<QString, bool Behaviour::*> flags{{u"hang"_s, &Behaviour::hang},
                                                         {u"error"_s, &Behaviour::isError},
                                                         {u"raw"_s, &Behaviour::raw},
                                                         {u"no-session"_s, &Behaviour::noSession},
                                                         {u"crlf"_s, &Behaviour::windowsLineEnds},
                                                         {u"delete-self"_s, &Behaviour::deleteSelf}};
    const auto flag = flags.constFind(word);
    if (flag == flags.cend())
        return false;
    behaviour.*(*flag) = true;
    return true;
}

// "@word value"; false when there is no such.
bool setDirective(Answer &answer, const QString &line) {
    const auto word = line.mid(1).section(u' ', 0, 0);
    const auto value = line.section(u' ', 1).trimmed();
    if (word == u"stderr"_s && !value.isEmpty()) {
        answer.behaviour.standardError = value;
        return true;
    }
    if (word == u"crash"_s) {
        answer.behaviour.crash = signalNumber(value).value_or(0);
        return answer.behaviour.crash != 0;
    }
    return value.isEmpty() ? setFlag(answer.behaviour, word) : setNumber(answer, word, value);
}

std::optional<Condition> conditionOf(const QString &words) {
    using Kind = Condition::Kind;
    static const QRegularExpression contains(u"^the message has \"(.+)\"$"_s);
    if (words.isEmpty())
        return Condition{};
    if (words == u"success"_s)
        return Condition{Kind::Success, {}};
    if (words == u"failure"_s)
        return Condition{Kind::Failure, {}};
    if (const auto match = contains.match(words); match.hasMatch())
        return Condition{Kind::Contains, match.captured(1)};
    return std::nullopt;
}

// "=== TURN [when CONDITION]"
std::optional<Answer> answerHead(const QString &line) {
    static const QRegularExpression head(u"^=== (\\d+)(?: when (.+))?$"_s);
    const auto match = head.match(line);
    const auto turn = positive(match.captured(1));
    const auto condition = conditionOf(match.captured(2));
    if (!match.hasMatch() || !turn || !condition)
        return std::nullopt;
    Answer answer;
    answer.turn = *turn;
    answer.condition = *condition;
    return answer;
}

// "key: value" above the first answer; false when there is no such key.
bool setHeader(Scenario &scenario, const QString &line) {
    const auto key = line.section(u':', 0, 0).trimmed();
    const auto value = line.section(u':', 1).trimmed();
    if (key == u"task"_s)
        scenario.task = value;
    else if (key == u"words"_s)
        scenario.words = value.toLower().split(u' ', Qt::SkipEmptyParts);
    else if (key == u"account"_s)
        scenario.account = value;
    else if (key == u"without"_s)
        scenario.without = value.split(u' ', Qt::SkipEmptyParts);
    else
        return false;
    return !value.isEmpty();
}

// Takes a file line by line.
class Reader {
public:
    explicit Reader(const QString &name) {
        m_scenario.name = name;
        m_scenario.account = QString::fromUtf16(DEFAULT_ACCOUNT);
    }

    Result<> take(const QString &line) {
        ++m_line;
        if (line.startsWith(u"==="_s))
            return beginAnswer(line);
        if (m_scenario.answers.isEmpty())
            return takeHeader(line);
        auto &answer = m_scenario.answers.last();
        if (m_inDirectives && line.startsWith(u'@')) {
            if (setDirective(answer, line))
                return {};
            return wrong(u"no such directive: "_s + line);
        }
        m_inDirectives = false;
        answer.text += line + u'\n';
        return {};
    }

    Result<Scenario> finish() {
        if (m_scenario.task.isEmpty() || m_scenario.words.isEmpty())
            return std::unexpected(failure(m_scenario.name, 1, u"a scenario needs \"task:\" and \"words:\""_s));
        for (auto &answer : m_scenario.answers)
            answer.text = answer.text.trimmed();
        return m_scenario;
    }

private:
    Result<> wrong(const QString &what) const { return std::unexpected(failure(m_scenario.name, m_line, what)); }

    Result<> beginAnswer(const QString &line) {
        const auto answer = answerHead(line);
        if (!answer)
            return wrong(
                u"an answer begins \"=== TURN\" or \"=== TURN when success|failure|the message has \"TEXT\"\": "_s +
                line);
        m_scenario.answers.append(*answer);
        m_inDirectives = true;
        return {};
    }

    Result<> takeHeader(const QString &line) {
        if (line.trimmed().isEmpty() || line.startsWith(u'#') || setHeader(m_scenario, line))
            return {};
        return wrong(u"expected \"task:\", \"words:\", \"account:\" or \"without:\": "_s + line);
    }

    Scenario m_scenario;
    qsizetype m_line = 0;
    bool m_inDirectives = false;
};

Result<Scenario> loadScenario(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::unexpected(
            Failure{u"rehearsed"_s, 0, u"cannot read the scenario %1: %2"_s.arg(path, file.errorString())});
    return parseScenario(QFileInfo(path).fileName(), QString::fromUtf8(file.readAll()));
}

QStringList wordsOf(const QString &text) {
    static const QRegularExpression between(u"\\W+"_s, QRegularExpression::UseUnicodePropertiesOption);
    return text.toLower().split(between, Qt::SkipEmptyParts);
}

} // namespace

Result<Scenario> parseScenario(const QString &name, const QString &text) {
    Reader reader(name);
    for (const auto &line : text.split(u'\n')) {
        const auto taken = reader.take(line.endsWith(u'\r') ? line.chopped(1) : line);
        if (!taken)
            return std::unexpected(taken.error());
    }
    return reader.finish();
}

Result<QList<Scenario>> loadScenarios(const QString &path) {
    QStringList files{path};
    if (const QDir directory(path); directory.exists()) {
        files.clear();
        for (const auto &name : directory.entryList({u"*.scenario"_s}, QDir::Files, QDir::Name))
            files.append(directory.filePath(name));
    }
    QList<Scenario> scenarios;
    for (const auto &file : files) {
        auto scenario = loadScenario(file);
        if (!scenario)
            return std::unexpected(scenario.error());
        scenarios.append(*scenario);
    }
    return scenarios;
}

const Scenario *scenarioFor(const QList<Scenario> &scenarios, const QString &task) {
    const auto words = wordsOf(task);
    const Scenario *best = nullptr;
    for (const auto &scenario : scenarios) {
        const bool fits = std::ranges::all_of(scenario.words, [&](const auto &word) { return words.contains(word); });
        if (fits && (!best || scenario.words.size() > best->words.size()))
            best = &scenario;
    }
    return best;
}

const Answer *answerFor(const Scenario &scenario, int turn, const QString &message) {
    const auto holds = [&](const Condition &condition) {
        switch (condition.kind) {
        case Condition::Kind::Always:
            return true;
        case Condition::Kind::Success:
            return message.startsWith(u"Result of your last AppleScript (success):"_s);
        case Condition::Kind::Failure:
            return message.startsWith(u"Result of your last AppleScript (failure):"_s);
        case Condition::Kind::Contains:
            return message.contains(condition.text);
        }
        return false;
    };
    for (const auto &answer : scenario.answers)
        if (answer.turn == turn && holds(answer.condition))
            return &answer;
    return nullptr;
}

} // namespace ombru::rehearsed
