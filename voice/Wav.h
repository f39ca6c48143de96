// Reads a WAV file as the samples of a call. Pure.
#pragma once
#include "voice/Samples.h"

#include <QByteArrayView>

namespace ombru {

// The first channel, at 8000 samples a second: another rate is brought there by linear interpolation. 16 bits a sample
// only; neither the file's head nor the format's tag is looked at, and a data chunk that claims no size, or more than
// there is, goes to the end of the input.
//
// Empty when there is no data chunk, when a format is cut short, is without a channel or without a rate, and when more
// than an hour of sound would come of it.
Samples wavToPCM8k(QByteArrayView data);

} // namespace ombru
