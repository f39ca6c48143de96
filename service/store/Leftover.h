// What a service has left in the journal of a database when it was killed. Blocking.
#pragma once
#include "service/store/History.h"

#include <QStringList>

namespace ombru {

struct Leftover {
    QString file;
    std::optional<Segment> segment = {};
    QString trouble = {}; // why nothing of it is taken in
    bool taken = false;
};
using Leftovers = std::vector<Leftover>;

Leftovers readLeftovers(const QString &database);

// Those that continue what is in the history, in order. A part that contradicts it is in trouble then. The files of
// what is in the history, also from before, are emptied, or all stay as they are.
enum class Taken { isCleared, stays };
Result<> takeIn(History &history, Leftovers &left, Taken taken);

// Renames what is none of ours, or not for this database; the words say what and why.
Result<QStringList> putAside(const Leftovers &left);

} // namespace ombru
