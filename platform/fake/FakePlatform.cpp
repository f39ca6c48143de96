#include "platform/fake/FakePlatform.h"

namespace ombru {

FakePlatform &FakePlatform::instance() {
    static FakePlatform platform;
    return platform;
}

Picture FakePlatform::plainPicture(int width, int height, std::uint32_t colour) {
    const auto count = static_cast<std::size_t>(width) * height;
    const auto pixels = std::make_shared_for_overwrite<std::uint32_t[]>(count);
    std::fill_n(pixels.get(), count, colour);
    return {width, height, pixels};
}

} // namespace ombru
