// Calls of the script's own handlers.
#pragma once
#include "applescript/syntax/ParserPart.h"

namespace ombru::applescript {

class CallParser : private ParserPart {
public:
    using ParserPart::ParserPart;

    ExpressionPtr parseCall(Name name, qsizetype start);
    ExpressionPtr parseInterleavedCall(Name name, qsizetype start);
    ExpressionPtr parseLabeledCall(Name name, qsizetype start);

private:
    void addArgument(Call &call, QString label, ExpressionPtr value);
    void parseGivenArguments(Call &call);
};

} // namespace ombru::applescript
