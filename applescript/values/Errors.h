// What goes wrong in a script. Inside the language both travel as C++ exceptions, because `try` unwinds through every
// level of evaluation; Script.h turns them into values, and none passes it.
#pragma once
#include "applescript/values/Source.h"

#include <QString>

#include <memory>
#include <optional>

namespace ombru::applescript {

// The script is not written as the language wants it.
struct SyntaxError {
    Range range;
    QString message;
    int number = -2741;
};

struct ErrorDetails; // the values of `from`, `partial result` and `to`; known to the statements that give and take them

// The script asked for something that cannot be done.
struct ScriptError {
    int number = -2700;
    QString message;
    std::optional<Range> range = {}; // filled in by the innermost expression that knows its place
    std::shared_ptr<const ErrorDetails> details = {};
};

namespace error {
constexpr int CANCELED = -128;
constexpr int FILE_NOT_FOUND = -43;
constexpr int BAD_PARAMETER = -50;
constexpr int NOT_RUNNING = -600;
constexpr int COERCION = -1700;
constexpr int MISSING_PARAMETER = -1701;
constexpr int WRONG_TYPE = -1703;
constexpr int NOT_UNDERSTOOD = -1708;
constexpr int TIMED_OUT = -1712;
constexpr int INVALID_INDEX = -1719;
constexpr int WRONG_ARGUMENTS = -1721;
constexpr int NO_SUCH_OBJECT = -1728;
constexpr int NOT_AUTHORIZED = -1743;
constexpr int GENERAL = -2700;
constexpr int DIVIDE_BY_ZERO = -2701;
constexpr int TOO_LARGE = -2702;
constexpr int STACK_OVERFLOW = -2706;
constexpr int SYNTAX = -2741;
constexpr int GIVEN_TWICE = -2752;
constexpr int UNDEFINED_VARIABLE = -2753;
constexpr int NO_RESULT = -2763;
constexpr int EVENT_FAILED = -10000;
constexpr int CANNOT_SET = -10006;
} // namespace error

} // namespace ombru::applescript
