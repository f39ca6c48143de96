// Runs a syntax tree: statements in order, expressions to values, references to the objects they name. Everything done
// to the world goes through the Host; every event to an application goes through Events and nowhere else.
//
// The work is divided by who owns what: Scopes the variables, Considerations what text depends on, References and Parts
// what is named and what it is of, Handlers the calls; Statements, Expressions, Commands and Assignments walk the tree.
// They reach each other through here.
//
// Thread: one, which blocks while the host works. Errors travel as ScriptError; Script.h catches them.
#pragma once
#include "applescript/run/Assignments.h"
#include "applescript/run/Commands.h"
#include "applescript/run/Considerations.h"
#include "applescript/run/Expressions.h"
#include "applescript/run/Handlers.h"
#include "applescript/run/Parts.h"
#include "applescript/run/References.h"
#include "applescript/run/Scopes.h"
#include "applescript/run/Statements.h"
#include "applescript/run/Surroundings.h"
#include "applescript/values/Errors.h"

namespace ombru::applescript {

class Interpreter final : public Context {
public:
    explicit Interpreter(const Surroundings &surroundings)
        : m_surroundings(surroundings), m_events(surroundings.events(*this)) {}

    // Runs the script's `run`. The result is nothing when the last statement had none.
    Value run(const std::shared_ptr<const ScriptDefinition> &script, const QStringList &arguments, const QString &text);

    Host &host() override { return m_surroundings.host; }
    Events &events() override { return *m_events; }
    const TextRules &rules() const override { return m_considerations.rules(); }
    std::optional<Clock::Duration> timeLimit() const override { return m_timeLimit; }
    Value data(const Expression &expression) override { return m_expressions.data(expression); }
    Value follow(Value value) override { return m_parts.follow(std::move(value)); }
    Value runScript(const ScriptPtr &script) override;
    Value runText(const QString &text, const QStringList &arguments) override;

    std::optional<Clock::Duration> &timeLimit() { return m_timeLimit; }
    const Surroundings &surroundings() const { return m_surroundings; }
    Scopes &scopes() { return m_scopes; }
    Considerations &considerations() { return m_considerations; }
    Statements &statements() { return m_statements; }
    Expressions &expressions() { return m_expressions; }
    References &references() { return m_references; }
    Parts &parts() { return m_parts; }
    Assignments &assignments() { return m_assignments; }
    Handlers &handlers() { return m_handlers; }
    Commands &commands() { return m_commands; }

private:
    Surroundings m_surroundings;
    std::unique_ptr<Events> m_events;
    std::optional<Clock::Duration> m_timeLimit;
    Scopes m_scopes;
    Considerations m_considerations;
    Statements m_statements{*this};
    Expressions m_expressions{*this};
    References m_references{*this};
    Parts m_parts{*this};
    Assignments m_assignments{*this};
    Handlers m_handlers{*this};
    Commands m_commands{*this};
};

} // namespace ombru::applescript
