// What becomes of what computers tell: lines and pictures with their numbers, and tasks. The numbers go on from the
// last one that was taken. Pure; belongs to one thread.
#pragma once
#include "service/store/Records.h"
#include "service/store/TaskBook.h"

#include <span>
#include <unordered_map>

namespace ombru {

constexpr qsizetype MOST_TEXT = 64 << 10; // bytes of UTF-8 of a line that are kept

class Numbering {
public:
    struct Book {
        TaskBook tasks;
        qint64 lastNumber = 0;
    };
    struct State {
        std::unordered_map<qint64, Book> books = {}; // by computer; of one that has told nothing there is none
        qint64 lastTask = 0;
        qint64 lastPicture = 0;
    };
    explicit Numbering(State state) : m_state(std::move(state)) {}

    // What would become of it; it counts once it is taken.
    struct Draft {
        std::vector<Entry> entries = {};
        State after = {}; // with those computers only that have told something
    };
    Draft draft(std::span<const Told> told) const;
    void take(Draft draft);

    // Nothing that comes belongs to a task of before any more. The number of its last item.
    qint64 forget(qint64 computer);

private:
    struct Writer; // of one draft
    State m_state;
};

Appended appendedOf(std::span<const Entry> entries);

} // namespace ombru
