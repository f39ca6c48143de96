// Asks on the terminal whether a script that was shown may run. Only answers that come after the question count. Main
// thread; one question at a time.
#pragma once
#include "app/cli/Output.h"
#include "base/Task.h"
#include "controller/ScriptDecision.h"

#include <optional>

namespace ombru {

class ScriptPrompt {
public:
    explicit ScriptPrompt(Output &output) : m_output(output) {} // which outlives it

    // Somebody can be asked: it is a terminal in both directions, and this program is in front of it.
    static bool canAsk();

    // The end of what is typed is a stop.
    Task<ScriptDecision> ask(std::stop_token stop);

    bool isAsking() const { return m_asking; }

private:
    static Task<std::optional<QString>> typedLine(std::stop_token stop);

    Output &m_output;
    bool m_asking = false;
};

// What a typed line means; none: nothing that was asked for.
std::optional<ScriptDecision> decisionOf(const QString &line);

} // namespace ombru
