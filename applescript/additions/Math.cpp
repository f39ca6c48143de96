// Numbers: chance and rounding.
#include "applescript/additions/Addition.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

#include <cmath>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

Value randomNumber(const Invocation &command) {
    auto &system = command.host().system();
    const auto from = command.parameter(u"from"), to = command.parameter(u"to");
    const std::optional<Value> limit = command.hasDirect() ? std::optional(command.direct()) : to;
    if (!limit)
        return system.random();
    const Value low = coerce(from.value_or(Value(0)), u"number"_s, command.rules()),
                high = coerce(*limit, u"number"_s, command.rules());
    if (!low.is<qint64>() || !high.is<qint64>())
        return low.toDouble() + system.random() * (high.toDouble() - low.toDouble());
    const double first = std::min(low.toDouble(), high.toDouble()), last = std::max(low.toDouble(), high.toDouble());
    return Value::number(qint64(first + std::floor(system.random() * (last - first + 1))));
}

Value round(const Invocation &command) {
    const double number = toNumber(command.direct(), command.rules());
    const auto rounding = command.parameter(u"rounding");
    const QString how = rounding ? formatPlain(*rounding) : QString();
    const double rounded = how == u"up"                    ? std::ceil(number)
                           : how == u"down"                ? std::floor(number)
                           : how == u"toward zero"         ? std::trunc(number)
                           : how == u"as taught in school" ? std::round(number)
                                                           : std::nearbyint(number);
    return std::fabs(rounded) <= 536870911 ? Value(qint64(rounded)) : Value(rounded);
}

using enum CommandTerm::Direct;

constexpr Addition COMMANDS[] = {
    {{.name = u"random number", .direct = expression, .parameters = u"from|to|with seed"}, &randomNumber},
    {{.name = u"round",
      .direct = expression,
      .parameters = u"rounding=up,down,toward zero,to nearest,as taught in school"},
     &round},
};

} // namespace

Suite mathAdditions() {
    return {COMMANDS, {}};
}

} // namespace ombru::applescript
