#include "look/Letters.h"

#include <QApplication>
#include <QFontInfo>

#include <algorithm>

namespace ombru {

namespace {

constexpr double ORDINARY = 12; // pixels: nine points where an inch has 96 pixels

} // namespace

int withLetters(int pixels) {
    return qRound(pixels * std::max(1.0, QFontInfo(QApplication::font()).pixelSize() / ORDINARY));
}

} // namespace ombru
