// A part of the journal, as its file has it: a head that says which part it is, and one entry after the other. Each has
// its length and a sum, so that one that was not written to its end is told from one that was. Pure.
//
// A part has a name, random, and knows that of the one behind it; the database has the name of the part that it wants
// next. So what is in a part is taken in by the database that it continues, and by no other, nor twice.
#pragma once
#include "base/Failure.h"
#include "service/store/Records.h"

namespace ombru {

struct SegmentName {
    QByteArray own = {};
    QByteArray next = {};

    bool operator==(const SegmentName &) const = default;
};
QByteArray newName();

struct Segment {
    SegmentName name = {};
    std::vector<Entry> entries = {};
};

QByteArray writtenHead(const SegmentName &name);
QByteArray written(const Entry &entry);
QByteArray sealed(const QByteArray &content); // with its length and its sum

// None when there is nothing in it. Of one whose end is missing or damaged what stands before that. A Failure says in
// words for "... cannot be used: ..." why it is none of ours.
Result<std::optional<Segment>> readSegment(const QByteArray &bytes);

} // namespace ombru
