// The pixels of a part of the screen, some rows at a time, so that even a huge screen takes little memory. Rows are
// read while the caller works on those before. Any one thread at a time.
#pragma once
#include "platform/linux/x11/Display.h"

#include <cstdint>

namespace ombru {

class ScreenReader {
public:
    // For that area of the root window, in pieces of at most `rows` rows. Null when the display's pixels have no true
    // colours. The display outlives it.
    static std::unique_ptr<ScreenReader> make(const Display &display, QRect area, int rows);
    virtual ~ScreenReader() = default;

    // Asks for those rows of the area. At most two pieces are asked for and not taken.
    virtual void ask(int first, int count) = 0;

    // The piece asked for first, as a Picture's pixels, without gaps between the rows; null when the display has gone.
    // Valid until two more pieces have been asked for.
    virtual const std::uint32_t *take() = 0;
};

} // namespace ombru
