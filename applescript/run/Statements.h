// Statements in order, and what each does to the flow.
#pragma once
#include "applescript/syntax/Ast.h"

namespace ombru::applescript {

class Interpreter;
struct ScriptError;

enum class Flow { normal, exitRepeat, returned };

class Statements {
public:
    explicit Statements(Interpreter &interpreter) : m_run(interpreter) {}

    Flow execute(const Block &block);
    Flow execute(const Statement &statement);

private:
    Flow form(const Statement &statement);
    Flow tell(const Tell &tell);
    Flow choose(const If &statement);
    Flow repeat(const Repeat &loop);
    Flow count(const Repeat &loop);
    Flow each(const Repeat &loop);
    Flow attempt(const Try &statement);
    Flow handle(const Try &statement, const ScriptError &error);
    Flow considering(const Considering &statement);
    Flow timeout(const Timeout &statement);
    Flow giveBack(const Return &statement);
    void assign(const Assignment &statement);
    void continueInParent(const Continue &statement);
    void use(const Use &statement);
    void raise(const ErrorStatement &statement);
    void define(const ScriptStatement &statement);
    void define(const PropertyDeclaration &property);

    Interpreter &m_run;
};

// For `exit repeat` that leaves no loop.
[[noreturn]] void failExitOutside();

} // namespace ombru::applescript
