// What becomes of what computers tell, in a store, at once: numbered and kept, without the journal between.
#pragma once
#include "service/store/Store.h"

namespace ombru::test {

inline Result<Appended> append(Store &store, std::span<const Told> told) {
    const auto draft = Numbering(*store.history.numbers()).draft(told);
    if (const auto kept = store.history.keep(draft.entries, {newName(), newName()}); !kept)
        return std::unexpected(kept.error());
    return appendedOf(draft.entries);
}

} // namespace ombru::test
