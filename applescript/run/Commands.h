// Commands of dictionaries: the language's own, those of the additions, and those that go to an application.
#pragma once
#include "applescript/syntax/Ast.h"

namespace ombru::applescript {

class Interpreter;

class Commands {
public:
    explicit Commands(Interpreter &interpreter) : m_run(interpreter) {}

    Value run(const Command &command);

private:
    Value exists(const Command &command);
    Value existsSpecified(const Expression &object);
    Value toApplication(const Command &command);

    Interpreter &m_run;
};

} // namespace ombru::applescript
