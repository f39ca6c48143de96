// A task as the database gives it. On the store's thread.
#pragma once
#include "service/store/Database.h"
#include "service/store/Records.h"

namespace ombru {

// Of: id, computer, text, source, began, ended, steps, outcome, answer.
inline TaskRecord readTask(const Row &row) {
    return {row.integer(0),
            row.integer(1),
            row.text(2),
            row.text(3),
            row.real(4),
            row.maybeReal(5),
            static_cast<int>(row.integer(6)),
            row.text(7),
            row.text(8)};
}

} // namespace ombru
