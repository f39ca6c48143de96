// Pictures made smaller or larger, fast and with small text kept legible. Pure functions, any thread.
#pragma once
#include "base/Picture.h"

#include <QSize>

namespace ombru {

// The size with the aspect of `size` (not empty) whose longer side is `longerSide`; no side is less than 1.
QSize fitted(QSize size, int longerSide);

// The picture, which is not empty, in that size, which is not empty either. Every pixel of the original counts when it
// shrinks; it is interpolated when it grows.
Picture scaled(const Picture &picture, QSize size);

} // namespace ombru
