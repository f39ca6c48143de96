#include "applescript/objects/Arguments.h"

#include "applescript/values/Coercion.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

std::vector<Value> itemsOf(const Value &value) {
    const auto *list = value.as<ListPtr>();
    return list ? (*list)->items : std::vector<Value>{value};
}

QPoint pointOf(const Value &value, Context &context) {
    const auto parts = itemsOf(value);
    if (parts.size() != 2)
        failCoercion(value, u"point"_s);
    const auto number = [&](const Value &part) { return int(toInteger(context.follow(part), context.rules())); };
    return {number(parts[0]), number(parts[1])};
}

} // namespace ombru::applescript
