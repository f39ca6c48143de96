// A picture in memory. A plain value that is cheap to copy: copies share the pixels, which nobody changes any more.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>

namespace ombru {

struct Picture {
    int width = 0;  // pixels
    int height = 0; // pixels
    // Rows from the top, without gaps between them; a pixel is 0x00RRGGBB, whatever its highest byte holds.
    std::shared_ptr<const std::uint32_t[]> pixels;

    const std::uint32_t *row(int y) const { return pixels.get() + static_cast<std::size_t>(y) * width; }
};

} // namespace ombru
