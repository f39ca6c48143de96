// What the rehearsed agent knows by heart: a task and its answers, read from a text file whose form
// docs/rehearsed-agent.md describes. Values and pure functions, any thread; the loaders read files.
#pragma once
#include "base/Failure.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

namespace ombru::rehearsed {

// Which message an answer is for.
struct Condition {
    enum class Kind { Always, Success, Failure, Contains };
    Kind kind = Kind::Always;
    QString text; // of Contains
};

// What happens beside the answer, or in its place.
struct Behaviour {
    std::chrono::milliseconds delay{0};
    bool hang = false;      // for ever, asking it to end does not help
    bool isError = false;   // the result is an error
    bool raw = false;       // the bare text, no JSON
    bool noSession = false; // the result names no conversation
    bool windowsLineEnds = false;
    bool deleteSelf = false;       // the tool is gone afterwards
    qint64 padding = 0;            // characters added to the text
    int crash = 0;                 // the signal that ends it
    std::optional<int> exitStatus; // ends with it and without an answer
    QString standardError;
};

struct Answer {
    int turn = 1;
    Condition condition;
    Behaviour behaviour;
    std::optional<int> next; // the turn after this one, when it is not the following number
    QString text;
};

struct Scenario {
    QString name; // the file's
    QString task; // as a person would say it
    QStringList words;
    QString account;     // who is signed in; "nobody" for nobody
    QStringList without; // options that this tool is too old for
    QList<Answer> answers;
};

constexpr char16_t DEFAULT_ACCOUNT[] = u"rehearsed@localhost";

// Failures name the line.
Result<Scenario> parseScenario(const QString &name, const QString &text);

// One file, or every *.scenario of a directory in the order of their names.
Result<QList<Scenario>> loadScenarios(const QString &path);

// The one with the most words, all of which the task has, in any case. None when there is no such.
const Scenario *scenarioFor(const QList<Scenario> &scenarios, const QString &task);

// The first answer for that turn whose condition holds.
const Answer *answerFor(const Scenario &scenario, int turn, const QString &message);

} // namespace ombru::rehearsed
