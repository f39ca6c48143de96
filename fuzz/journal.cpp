// What the service finds beside its database when it starts: as it is, and as an entry that is well sealed.
#include "fuzz/Fuzz.h"
#include "service/store/Segment.h"

using namespace ombru;

namespace {

// What is read is read again once it is written.
void look(const QByteArray &bytes) {
    const auto segment = readSegment(bytes);
    if (!segment || !*segment)
        return;
    auto again = writtenHead((*segment)->name);
    for (const auto &entry : (*segment)->entries)
        again += written(entry);
    fuzz::require(bytes.size() >= again.size());
    const auto other = readSegment(again);
    fuzz::require(other && *other && (*other)->entries.size() == (*segment)->entries.size());
    fuzz::require((*other)->name == (*segment)->name);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    look(bytes);
    look(writtenHead({QByteArray(16, 'a'), QByteArray(16, 'b')}) + sealed(bytes));
    return 0;
}
