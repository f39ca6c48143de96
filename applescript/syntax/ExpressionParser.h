// Operators, from the loosest to the tightest: or, and, not, = ≠, < > and containment, as, &, + -, * / div mod, ^,
// signs.
#pragma once
#include "applescript/syntax/ParserPart.h"

namespace ombru::applescript {

class ExpressionParser : private ParserPart {
public:
    using ParserPart::ParserPart;

    struct Comparison {
        Operator operation;
        std::size_t length;
    };

    ExpressionPtr parseExpression();
    std::optional<Comparison> comparison() const;
    ExpressionPtr parseType();
    ExpressionPtr parseChain(int level, ExpressionPtr first = {});
    ExpressionPtr parseSign();

private:
    ExpressionPtr parseAnd();
    ExpressionPtr parseNot();
    ExpressionPtr parseEquality();
    ExpressionPtr parseIsRunning(ExpressionPtr subject, Operator operation, std::size_t length);
    ExpressionPtr parseRelation();
    ExpressionPtr parseCoercion();
    std::optional<Operator> chainOperator(int level) const;
    ExpressionPtr parsePower(ExpressionPtr first = {});
};

} // namespace ombru::applescript
