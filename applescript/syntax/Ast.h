// The syntax tree: what Parser makes and Interpreter walks. Every expression and statement knows its place in the
// script. The tree is immutable once parsed and outlives the values that refer to it (handlers, script objects).
//
// A specifier is a chain: `name of window 1 of process "Finder"` is a Property whose container is an Element whose
// container is an Element. A part without a container belongs to the target of the enclosing `tell`.
#pragma once
#include "applescript/values/Source.h"
#include "applescript/values/Specifier.h"
#include "applescript/values/Text.h"
#include "applescript/values/Value.h"

#include <memory>
#include <optional>
#include <variant>
#include <vector>

namespace ombru::applescript {

struct Expression;
struct Statement;
using ExpressionPtr = std::unique_ptr<Expression>;
using Block = std::vector<Statement>;

// ---- Expressions

struct Literal {
    Value value; // text, number, boolean, constant or class
};

struct ListExpression {
    std::vector<ExpressionPtr> items;
    ExpressionPtr container; // `{name, size} of window 1`: each item is asked of it
};

struct RecordExpression {
    std::vector<std::pair<Name, ExpressionPtr>> fields;
};

struct Variable {
    Name name;
};

// The values that a script always has.
struct Special {
    enum class Kind { it, me, result, appleScript, currentApplication };
    Kind kind;
};

// `name of X`, `X's foo`, `my foo`. A term is a word of a dictionary; other names are a record's or a script's own.
struct Property {
    Name name;
    bool term = false;
    ExpressionPtr container;
};

struct Element {
    QString className; // singular
    Specifier::Form form = Specifier::Form::every;
    ExpressionPtr key;
    ExpressionPtr last; // range
    ExpressionPtr test; // whose
    ExpressionPtr container;
};

// A handler of the script. Labels are empty for f(1, 2); for `f of 1 above 2` and `f:1 with:2` one for each argument.
struct Call {
    Name name;
    std::vector<ExpressionPtr> arguments;
    std::vector<QString> labels;
    ExpressionPtr container; // the object it is sent to
};

// A command of a dictionary.
struct Command {
    QString name;
    ExpressionPtr direct;
    std::vector<std::pair<QString, ExpressionPtr>> parameters;
    bool application = false; // goes to the target application, not to the script's own commands
    bool describes = false;   // its object stays a description
};

enum class Operator {
    add,
    subtract,
    multiply,
    divide,
    integerDivide,
    modulo,
    power,
    concatenate,
    logicalAnd,
    logicalOr,
    equal,
    notEqual,
    less,
    greater,
    lessOrEqual,
    greaterOrEqual,
    startsWith,
    endsWith,
    contains,
    notContains,
    isIn,
    isNotIn
};

// Operators of one level, left to right: a + b - c is one chain, so that a long one is no deep tree.
struct Chain {
    struct Step {
        Operator operation;
        ExpressionPtr operand;
    };
    ExpressionPtr first;
    std::vector<Step> steps;
};

struct Binary { // comparisons and power
    Operator operation;
    ExpressionPtr left;
    ExpressionPtr right;
};

struct Negation { // -x, and +x
    ExpressionPtr operand;
    bool negative = true;
};

struct Not {
    ExpressionPtr operand;
};

struct Coercion {
    ExpressionPtr operand;
    ExpressionPtr type; // a class, or a list of classes to try
};

struct ReferenceTo {
    ExpressionPtr target;
};

struct Parenthesized {
    ExpressionPtr inner;
};

struct Expression {
    Range range;
    std::variant<Literal, ListExpression, RecordExpression, Variable, Special, Property, Element, Call, Command, Chain,
                 Binary, Negation, Not, Coercion, ReferenceTo, Parenthesized>
        form;

    template <class T>
    T *as() {
        return std::get_if<T>(&form);
    }
    template <class T>
    const T *as() const {
        return std::get_if<T>(&form);
    }
};

// ---- Statements

struct ExpressionStatement {
    ExpressionPtr expression;
};

struct Assignment {
    ExpressionPtr target;
    ExpressionPtr value;
    bool copies = false;
};

struct Tell {
    ExpressionPtr target;
    Block body;
};

struct If {
    struct Branch {
        ExpressionPtr condition; // none for `else`
        Block body;
    };
    std::vector<Branch> branches;
};

struct Repeat {
    enum class Kind { forever, times, whileTrue, until, counting, each };
    Kind kind = Kind::forever;
    ExpressionPtr subject; // times, condition, first bound or list
    ExpressionPtr last;
    ExpressionPtr step;
    Name variable;
    Block body;
};

struct Try {
    Block body;
    bool handles = false;
    Block handler;
    ExpressionPtr message; // where each part of the error is put
    ExpressionPtr number;  // or a number to match
    ExpressionPtr from;
    ExpressionPtr partial;
    ExpressionPtr to;
};

struct ErrorStatement {
    ExpressionPtr message;
    ExpressionPtr number;
    ExpressionPtr from;
    ExpressionPtr partial;
    ExpressionPtr to;
};

struct Return {
    ExpressionPtr value;
};

struct ExitRepeat {};

struct Declaration {
    bool global = false;
    std::vector<Name> names;
};

struct Considering {
    Attributes considered = 0;
    Attributes ignored = 0;
    Block body;
};

struct Timeout {
    ExpressionPtr seconds; // none for a transaction
    Block body;
};

struct Use {
    QString framework; // the only kind that changes what a script can do
};

struct PropertyDeclaration {
    Name name;
    ExpressionPtr value;
};

struct ScriptDefinition;
struct ScriptStatement {
    std::shared_ptr<const ScriptDefinition> definition;
};

struct Continue {
    ExpressionPtr call; // of the same handler, or command, in the parent
};

struct Statement {
    Range range;
    std::variant<ExpressionStatement, Assignment, Tell, If, Repeat, Try, ErrorStatement, Return, ExitRepeat,
                 Declaration, Considering, Timeout, Use, PropertyDeclaration, ScriptStatement, Continue>
        form;
};

// ---- Definitions

struct HandlerDefinition : Handler {
    struct Parameter {
        QString label;          // empty for positional ones
        ExpressionPtr pattern;  // a variable, or a list or record of patterns
        ExpressionPtr type;     // `as`: what the argument is coerced to
        ExpressionPtr standard; // the value of an optional labeled parameter
    };
    std::vector<Parameter> parameters;
    Block body;
    Range range;
};

struct ScriptDefinition {
    Name name;
    std::vector<std::shared_ptr<const HandlerDefinition>> handlers;
    std::vector<Name> globals; // declared outside every handler
    Block body;                // properties, script objects and statements, in order
    bool hasStatements = false;
};

} // namespace ombru::applescript
