// What an event says about the running task, in fields for programs: the same as its text. Plain values, any thread.
#pragma once
#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

namespace ombru {

struct TaskBegun {
    QString task;
    bool operator==(const TaskBegun &) const = default;
};
struct StepBegun {
    int number = 0; // from 1
    int most = 0;
    bool operator==(const StepBegun &) const = default;
};
struct ScreenSeen {
    QString file; // its path
    bool operator==(const ScreenSeen &) const = default;
};
struct AgentReplied {
    double seconds = 0;
    std::optional<QString> session; // the conversation, where it can be gone on with
    bool operator==(const AgentReplied &) const = default;
};
struct AgentSaid { // beside its script
    QString text;
    bool operator==(const AgentSaid &) const = default;
};
struct ScriptChosen {
    QString script;
    bool operator==(const ScriptChosen &) const = default;
};
struct ScriptRan {
    bool ok = false;
    QString output; // its result and log, or its error
    double seconds = 0;
    bool operator==(const ScriptRan &) const = default;
};
struct ScriptRefused { // and not run
    QStringList applications;
    bool operator==(const ScriptRefused &) const = default;
};
struct TaskFailed {
    QString text;
    bool operator==(const TaskFailed &) const = default;
};
struct ToldAtEnd { // the task's result says it, too
    bool operator==(const ToldAtEnd &) const = default;
};

// None: only its kind and its text.
using TaskFact = std::variant<std::monostate, TaskBegun, StepBegun, ScreenSeen, AgentReplied, AgentSaid, ScriptChosen,
                              ScriptRan, ScriptRefused, TaskFailed, ToldAtEnd>;

} // namespace ombru
