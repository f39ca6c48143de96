#include "applescript/run/Selection.h"

#include "applescript/values/Coercion.h"

namespace ombru::applescript {

std::expected<Stretch, NoStretch> stretchOf(const Specifier &part, std::size_t count, Context &context) {
    using enum Specifier::Form;
    const qint64 size = qint64(count);
    const auto at = [&](qint64 index) -> std::expected<Stretch, NoStretch> {
        const qint64 place = index < 0 ? size + index : index - 1;
        if (index == 0 || place < 0 || place >= size)
            return std::unexpected(NoStretch::outside);
        return Stretch{std::size_t(place), std::size_t(place) + 1};
    };
    const auto atKey = [&](const Value &key) { return at(toInteger(context.follow(key), context.rules())); };
    switch (part.form) {
    case every:
        return Stretch{0, count};
    case index:
        return atKey(part.key);
    case middle:
        return at((size + 1) / 2);
    case some:
        return at(1 + qint64(context.host().system().random() * double(count)));
    case range:
        break;
    default:
        return std::unexpected(NoStretch::otherForm);
    }
    const auto from = atKey(part.key);
    if (!from)
        return from;
    const auto to = atKey(part.last);
    if (!to)
        return to;
    return Stretch{std::min(from->first, to->first), std::max(from->end, to->end)};
}

} // namespace ombru::applescript
