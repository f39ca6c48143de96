// What a script is made of: properties, handlers, script objects.
#pragma once
#include "applescript/syntax/ParserPart.h"

#include <QSet>

namespace ombru::applescript {

class DefinitionParser : private ParserPart {
public:
    using ParserPart::ParserPart;

    void collectLabeledHandlers();
    void parseScriptBody(ScriptDefinition &script, bool topLevel);
    bool takesLabels(const QString &handler) const { return m_labeledHandlers.contains(handler); }

private:
    void parseDefinitionOrStatement(ScriptDefinition &script, bool topLevel);
    Statement parsePropertyDeclaration(qsizetype start);
    Statement parseScript(qsizetype start);
    std::shared_ptr<const HandlerDefinition> parseHandler();
    HandlerDefinition::Parameter parseParameter(const QString &label);
    void parsePositional(HandlerDefinition &handler);
    void parseInterleaved(HandlerDefinition &handler);
    void parseLabeled(HandlerDefinition &handler);
    void parseGiven(HandlerDefinition &handler);

    QSet<QString> m_labeledHandlers;
};

} // namespace ombru::applescript
