// WAV files, as whoever stands in the speech service's place may send them.
#include "voice/Wav.h"

#include "fuzz/Fuzz.h"
#include "voice/Mulaw.h"

using namespace ombru;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto samples = wavToPCM8k(bytes);
    fuzz::require(samples.size() <= 3600U * RATE);

    // Nothing hangs on where it lies.
    const auto elsewhere = " " + bytes.toByteArray();
    fuzz::require(wavToPCM8k(QByteArrayView(elsewhere).sliced(1)) == samples);
    return 0;
}
