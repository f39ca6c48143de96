// Runs a syntax tree: statements in order, expressions to values, references to the objects they name. Everything done
// to the world goes through the Host; every event to another application goes through sendEvent and nowhere else.
//
// A reference into a value of the script is followed at once; one into an application becomes a Specifier, which an
// expression turns into its value by sending `get`, and which a command takes as it is.
//
// Statements are in Interpreter.cpp, expressions in InterpreterExpressions.cpp, assignment in InterpreterAssign.cpp,
// properties and elements of values in InterpreterAccess.cpp, calls and commands in InterpreterCalls.cpp and
// InterpreterCommands.cpp, applications in InterpreterEvents.cpp.
//
// Thread: one, which blocks while the host works. Errors travel as ScriptError; Script.h catches them.
#pragma once
#include "applescript/Host.h"
#include "applescript/run/Surroundings.h"
#include "applescript/syntax/Ast.h"
#include "applescript/values/Errors.h"
#include "applescript/values/ScriptObject.h"
#include "applescript/values/Text.h"

#include <QSet>

namespace ombru::applescript {

struct ErrorDetails {
    Value from;
    Value partial;
    Value to;
};

class Interpreter final : public Context {
public:
    explicit Interpreter(const Surroundings &surroundings)
        : m_surroundings(surroundings), m_host(surroundings.host), m_events(surroundings.events(*this)) {}

    // Runs the script's `run`. The result is nothing when the last statement had none.
    Value run(const std::shared_ptr<const ScriptDefinition> &script, const QStringList &arguments, const QString &text);

    Host &host() override { return m_host; }
    const TextRules &rules() const override { return m_rules; }
    Value data(const Expression &expression) override;
    Value follow(Value value) override;
    Value runScript(const ScriptPtr &script) override;
    Value runText(const QString &text, const QStringList &arguments) override;

private:
    using DefinitionPtr = std::shared_ptr<const HandlerDefinition>;
    enum class Flow { normal, exitRepeat, returned };

    struct Frame final : Collectable {
        ScriptPtr me;
        Variables locals;
        QSet<QString> globals;
        Value target; // of the innermost tell; nothing outside
        Value result;
        const HandlerDefinition *handler = nullptr;
        void release() override;
    };
    class Enter;

    // Statements
    Flow execute(const Block &block);
    Flow execute(const Statement &statement);
    Flow executeTell(const Tell &tell);
    Flow executeIf(const If &statement);
    Flow executeRepeat(const Repeat &loop);
    Flow executeCounting(const Repeat &loop);
    Flow executeEach(const Repeat &loop);
    Flow executeTry(const Try &statement);
    Flow executeConsidering(const Considering &statement);
    Flow executeTimeout(const Timeout &statement);
    Flow executeReturn(const Return &statement);
    void executeAssignment(const Assignment &statement);
    void executeContinue(const Continue &statement);
    void use(const Use &statement);
    Flow catchError(const Try &statement, const ScriptError &error);
    void raise(const ErrorStatement &statement);
    void declare(const Declaration &declaration);
    void define(const ScriptStatement &statement);
    void define(const PropertyDeclaration &property);
    ScriptPtr instantiate(const std::shared_ptr<const ScriptDefinition> &definition);

    // Variables
    std::shared_ptr<Value> find(const QString &key) const;
    std::shared_ptr<Value> place(const QString &key); // made when there is none
    bool targetsApplication() const;

    // Expressions
    Value evaluate(const Expression &expression); // a value; application references are got
    Value specify(const Expression &expression);  // application references stay as they are
    Value evaluateForm(const Expression &expression);
    Value evaluateChain(const Chain &chain);
    Value evaluateBinary(const Binary &binary);
    Value evaluateSpecial(const Special &special);
    Value evaluateVariable(const Variable &variable);
    Value evaluateCoercion(const Coercion &coercion);
    Value evaluateReferenceTo(const ReferenceTo &reference);
    Value evaluateNegation(const Negation &negation);
    Value evaluateList(const ListExpression &list);
    Value evaluateRecord(const RecordExpression &record);
    bool evaluateEquality(const Binary &binary);
    Value followItems(const Value &value); // references among a list's items followed; other values as they are
    Value evaluateArithmetic(Operator operation, const Value &left, const Value &right);
    Value concatenate(const Value &left, const Value &right);
    Value got(const Expression &expression, Value value);
    Value specifyProperty(const Property &property);
    Value specifyElement(const Element &element);
    Value bareProperty(const Property &property);
    std::optional<Value> rootElement(const Element &element, const Value &key);
    Specifier describe(const Element &element);
    bool condition(const Expression &expression);

    // Values and their parts
    Value partOf(const Value &container, Specifier part);
    Value propertyOfData(const Value &value, const QString &name);
    Value elementOfData(const Value &value, const Specifier &part);
    std::optional<Value> listProperty(const List &list, const QString &name);
    std::optional<Value> textProperty(const QString &text, const QString &name);
    std::optional<Value> dateProperty(const Date &date, const QString &name);
    std::optional<Value> fileProperty(const FileReference &file, const QString &name);
    Value scriptProperty(const ScriptPtr &script, const QString &name);
    std::optional<Value> textOfCodePoints(const Specifier &part);
    Value elementsOfList(const Value &whole, const std::vector<Value> &items, const Specifier &part);
    Value elementsOfText(const QString &text, const Specifier &part);
    const std::vector<Span> &spansOf(const QString &text, const QString &kind);
    [[noreturn]] void failToGet(const Specifier &part, int number = error::NO_SUCH_OBJECT);
    qsizetype countOf(const Value &value);

    // Assignment
    void assign(const Expression &target, const Value &value);
    void assignProperty(const Property &property, const Value &value);
    void assignElement(const Element &element, const Value &value);
    void assignPattern(const ListExpression &pattern, const Value &value);
    void setPart(const Value &container, const Specifier &part, const Value &value);
    void setDate(Date &date, const QString &name, const Value &value);
    void setListElement(List &list, const Specifier &part, const Value &value);
    void setDelimiters(const Value &value);

    // Calls
    Value call(const Call &call);
    Value invoke(const ScriptPtr &script, const DefinitionPtr &handler, const std::vector<Value> &arguments,
                 const std::vector<QString> &labels);
    std::vector<Value> arrange(const HandlerDefinition &handler, const std::vector<Value> &arguments,
                               const std::vector<QString> &labels);
    DefinitionPtr findHandler(ScriptPtr &script, const QString &key) const;
    void bind(const Expression &pattern, const Value &value);

    // Commands
    Value command(const Command &command);
    Value coreCommand(const Command &command);
    Value countCommand(const Command &command);
    Value existsCommand(const Command &command);

    // Applications
    Value applicationCommand(const Command &command);
    Value resolveApplication(const Value &key, bool byId);
    Value get(const SpecifierPtr &specifier);

    Surroundings m_surroundings;
    Host &m_host;
    std::unique_ptr<Events> m_events;
    TextRules m_rules;
    Value m_delimiters = QString();
    std::shared_ptr<Frame> m_frame;
    std::shared_ptr<const bool> m_alive = std::make_shared<const bool>(true); // what outlives a script asks for it
    ScriptPtr m_root;
    QString m_text;
    struct {
        QString text;
        QString kind;
        QStringList delimiters;
        Attributes considered = 0;
        std::vector<Span> spans;
    } m_elements; // of the text looked into last, so that a loop over it does not split it anew each time
};

} // namespace ombru::applescript
