// Runs one AppleScript and says whether it succeeded, with its output, its log or its error as one text. execute() also
// reports each line of the script as it is reached, and can slow the steps down. Stateless operations; main thread.
#pragma once
#include "base/Process.h"

#include <QString>

#include <functional>
#include <memory>
#include <set>

namespace ombru::AppleScriptRunner {

// The cancel handle of a task, passed to each of its scripts in turn.
class Run {
public:
    // The script started last. Never cleared: ending a process that has ended reaches nobody.
    std::shared_ptr<Process> process;

    // Ends the running script and all it started; nothing to do when there is none.
    void cancel() const;
};

struct Outcome {
    bool ok = false;
    QString text;
    QStringList left = {}; // still running, as Process tells it

    bool operator==(const Outcome &) const = default;
};

using LineReached = std::function<void(int line)>; // 1-based line of the script as written

// Runs the script as it is. `timeout` in seconds.
Task<Outcome> run(QString script, double timeout, std::shared_ptr<Run> handle);

// Runs it with a marker before each statement and, when `delay` (seconds) is above 0, a pause too. A script that the
// markers make invalid is run as it is instead.
Task<Outcome> execute(QString script, double timeout, double delay, std::shared_ptr<Run> handle, LineReached onLine);

// The rest is pure.

struct Instrumented {
    QString text;
    std::set<int> marked; // 1-based lines of the given script that have a marker
};
Instrumented instrument(const QString &script, double delay = 0.0);

struct Stripped {
    QString text;  // without comments, each string literal as "", trimmed of spaces and tabs
    int depth = 0; // of block comments at the end of the line

    bool operator==(const Stripped &) const = default;
};
Stripped stripStringsAndComments(const QString &line, int depth);

// Maps the character ranges ("12:34:") that errors begin with from the script that was run to the one without marker
// lines. Positions and lengths are counted as osascript counts them, in Unicode code points.
QString remapErrorOffsets(const QString &text, const QString &scriptThatRan);

// Whether the expression is found in the text, without regard to case. An expression that is none is never found.
bool matches(const QString &text, const QString &expression);

} // namespace ombru::AppleScriptRunner
