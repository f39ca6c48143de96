#include "agent/Scale.h"

#include <cmath>
#include <cstring>
#include <numbers>
#include <numeric>

namespace ombru {
namespace {

// Sixteen-bit arithmetic, many lanes at a time: the weights of one pixel sum up to 256, so 255 * 256 + 128 still fits.
template <int COUNT>
using Lanes = std::uint16_t __attribute__((vector_size(2 * COUNT)));
template <int COUNT>
using Bytes = std::uint8_t __attribute__((vector_size(COUNT)));
constexpr int ONE = 256;
constexpr int HALF = ONE / 2;

// How the pixels of one line make those of another: pixel i is the sum of `taps` pixels from first[i] on, each times
// its weight.
struct Mix {
    int taps = 0; // even, so that the pixels can be taken in pairs
    std::vector<int> first;
    std::vector<std::uint16_t> weights; // `taps` for each pixel
};

// A Hamming window as the filter: as sharp on text as the wide ones, at half their taps, and never below zero.
double filter(double x) {
    x = std::abs(x);
    if (x >= 1)
        return 0;
    if (x < 1e-9)
        return 1;
    x *= std::numbers::pi;
    return std::sin(x) / x * (0.54 + 0.46 * std::cos(x));
}

double interpolation(double x) {
    return std::max(0.0, 1 - std::abs(x));
}

// Rounds so that the weights sum up to exactly ONE and hundreds of tiny ones do not all become nothing: what rounding
// leaves over goes to the next.
void roundWeights(const std::vector<double> &exact, std::uint16_t *rounded) {
    const double all = std::accumulate(exact.begin(), exact.end(), 0.0);
    double sum = 0;
    int given = 0;
    for (std::size_t k = 0; k < exact.size(); ++k) {
        sum += exact[k];
        const int upToHere = static_cast<int>(std::lround(sum / all * ONE));
        rounded[k] = static_cast<std::uint16_t>(upToHere - given);
        given = upToHere;
    }
}

Mix mix(int from, int to) {
    const double ratio = static_cast<double>(from) / to;
    const double reach = std::max(1.0, ratio);
    const auto kernel = ratio > 1 ? filter : interpolation;
    Mix result;
    result.taps = std::min(static_cast<int>(std::ceil(2 * reach)), from);
    result.taps += result.taps % 2;
    result.first.resize(to);
    result.weights.resize(static_cast<std::size_t>(to) * result.taps);
    std::vector<double> exact(result.taps);
    for (int i = 0; i < to; ++i) {
        const double centre = (i + 0.5) * ratio - 0.5;
        const int last = std::max(0, from - result.taps);
        result.first[i] = std::clamp(static_cast<int>(std::ceil(centre - reach)), 0, last);
        for (int k = 0; k < result.taps; ++k) {
            const int source = result.first[i] + k;
            exact[k] = source < from ? kernel((source - centre) / reach) : 0;
        }
        roundWeights(exact, &result.weights[static_cast<std::size_t>(i) * result.taps]);
    }
    return result;
}

template <int COUNT>
Lanes<COUNT> load(const std::uint8_t *from) {
    Bytes<COUNT> bytes;
    std::memcpy(&bytes, from, sizeof bytes);
    return __builtin_convertvector(bytes, Lanes<COUNT>);
}

template <int COUNT>
void store(Lanes<COUNT> sums, void *to) {
    const auto bytes = __builtin_convertvector(sums >> 8, Bytes<COUNT>);
    std::memcpy(to, &bytes, sizeof bytes);
}

// One row out of several of the original.
void mixRows(const std::vector<const std::uint8_t *> &sources, const std::uint16_t *weights, std::size_t bytes,
             std::uint8_t *out) {
    constexpr int STEP = 8;
    const auto mixBytes = [&]<int COUNT>(std::size_t at) {
        Lanes<COUNT> sum = Lanes<COUNT>{} + HALF;
        for (std::size_t k = 0; k < sources.size(); ++k)
            sum += load<COUNT>(sources[k] + at) * weights[k];
        store<COUNT>(sum, out + at);
    };
    std::size_t at = 0;
    for (; at + STEP <= bytes; at += STEP)
        mixBytes.operator()<STEP>(at);
    for (; at < bytes; at += sizeof(std::uint32_t))
        mixBytes.operator()<sizeof(std::uint32_t)>(at);
}

// One row of the result out of a row of the original's width; `row` has one pixel more than that at its end.
void mixColumns(const std::uint8_t *row, const Mix &columns, std::uint32_t *out) {
    const std::uint16_t *weight = columns.weights.data();
    for (const int first : columns.first) {
        Lanes<8> sum = {HALF, HALF, HALF, HALF, 0, 0, 0, 0};
        const std::uint8_t *source = row + static_cast<std::size_t>(first) * 4;
        for (int k = 0; k < columns.taps; k += 2, source += 8, weight += 2)
            sum += load<8>(source) *
                   Lanes<8>{weight[0], weight[0], weight[0], weight[0], weight[1], weight[1], weight[1], weight[1]};
        const Lanes<4> both =
            __builtin_shufflevector(sum, sum, 0, 1, 2, 3) + __builtin_shufflevector(sum, sum, 4, 5, 6, 7);
        store<4>(both, out++);
    }
}

} // namespace

QSize fitted(QSize size, int longerSide) {
    const double factor = static_cast<double>(longerSide) / std::max(size.width(), size.height());
    const auto side = [factor](int length) { return std::max(1, static_cast<int>(std::lround(length * factor))); };
    return {side(size.width()), side(size.height())};
}

Picture scaled(const Picture &picture, QSize size) {
    if (size == QSize(picture.width, picture.height))
        return picture;
    const Mix columns = mix(picture.width, size.width());
    const Mix rows = mix(picture.height, size.height());
    const std::size_t bytes = static_cast<std::size_t>(picture.width) * 4;
    std::vector<const std::uint8_t *> sources(rows.taps);
    std::vector<std::uint8_t> row(bytes + 4);
    const auto pixels =
        std::make_shared_for_overwrite<std::uint32_t[]>(static_cast<std::size_t>(size.width()) * size.height());
    for (int y = 0; y < size.height(); ++y) {
        // A pair of taps may reach one row past the end; its weight is zero there.
        for (int k = 0; k < rows.taps; ++k)
            sources[k] =
                reinterpret_cast<const std::uint8_t *>(picture.row(std::min(rows.first[y] + k, picture.height - 1)));
        mixRows(sources, &rows.weights[static_cast<std::size_t>(y) * rows.taps], bytes, row.data());
        mixColumns(row.data(), columns, pixels.get() + static_cast<std::size_t>(y) * size.width());
    }
    return {size.width(), size.height(), pixels};
}

} // namespace ombru
