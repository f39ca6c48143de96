#include "service/store/Leftover.h"

#include "service/store/Database.h"
#include "service/store/JournalFile.h"

#include <QFile>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Leftover readLeftover(const QString &path) {
    Leftover left{.file = path};
    QFile file(path);
    if (!file.exists())
        return left;
    if (!file.open(QFile::ReadOnly)) {
        left.trouble = u"it cannot be read (%1)"_s.arg(file.errorString());
        return left;
    }
    auto segment = readSegment(file.readAll());
    if (segment)
        left.segment = *std::move(segment);
    else
        left.trouble = segment.error().description;
    return left;
}

void note(Leftover &left, Taken taken) {
    left.taken = true;
    if (taken == Taken::isCleared && !QFile::resize(left.file, 0))
        left.trouble = u"it cannot be emptied"_s;
}

Result<> takeIn(History &history, Leftover &left, Taken taken) {
    const auto kept = history.keep(left.segment->entries, left.segment->name);
    if (!kept && (kept.error().code & 0xFF) == SQLITE_CONSTRAINT) {
        left.trouble = u"it contradicts the database (%1)"_s.arg(kept.error().description);
        return {};
    }
    if (!kept)
        return kept;
    note(left, taken);
    return {};
}

} // namespace

Leftovers readLeftovers(const QString &database) {
    Leftovers all;
    for (const auto &path : JournalFile::of(database))
        all.push_back(readLeftover(path));
    return all;
}

Result<> takeIn(History &history, Leftovers &left, Taken taken) {
    for (;;) {
        const auto parts = history.parts();
        if (!parts)
            return std::unexpected(parts.error());
        // Before anything comes behind it: then nothing would tell any more that it is in there.
        for (auto &each : left)
            if (each.segment && !each.taken && each.segment->name.own == parts->last)
                note(each, taken);
        const auto wanted = std::ranges::find_if(left, [&](const Leftover &each) {
            return each.segment && each.trouble.isEmpty() && !each.taken && each.segment->name.own == parts->next;
        });
        if (wanted == left.end())
            return {};
        if (const auto done = takeIn(history, *wanted, taken); !done)
            return done;
    }
}

Result<QStringList> putAside(const Leftovers &left) {
    QStringList words;
    for (const auto &[file, segment, trouble, taken] : left) {
        if (trouble.isEmpty() && (taken || !segment))
            continue;
        const auto why = trouble.isEmpty() ? u"it does not continue this database"_s : trouble;
        const auto aside = file + u".left-out"_s;
        QFile::remove(aside);
        if (!QFile::rename(file, aside))
            return std::unexpected(
                Failure{u"store"_s, SQLITE_CANTOPEN,
                        u"The journal %1 cannot be used: %2; nor can it be renamed."_s.arg(file, why)});
        words.append(u"The journal %1 is left out: %2. It is %3 now."_s.arg(file, why, aside));
    }
    return words;
}

} // namespace ombru
