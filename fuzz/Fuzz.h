// What the targets share: input in pieces, as it may arrive, and what must hold.
#pragma once
#include <QByteArray>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace ombru::fuzz {

inline void require(bool holds) {
    if (!holds)
        std::abort();
}

// Gives the bytes to `take` in pieces of that size until it says no.
template <class Take>
void inPieces(QByteArrayView bytes, qsizetype size, Take take) {
    for (qsizetype at = 0; at < bytes.size(); at += size)
        if (!take(bytes.sliced(at, std::min(size, bytes.size() - at))))
            return;
}

} // namespace ombru::fuzz
