// Sound as it is handled in a call: 16-bit samples, mono.
#pragma once
#include <cstdint>
#include <vector>

namespace ombru {

using Samples = std::vector<std::int16_t>;

} // namespace ombru
