#include "picture/Scale.h"

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

// A Hamming window as the filter: as sharp on text as the wide ones, at half their taps, and never below zero.
double windowed(double x) {
    x = std::abs(x);
    if (x >= 1)
        return 0;
    if (x < 1e-9)
        return 1;
    x *= std::numbers::pi;
    return std::sin(x) / x * (0.54 + 0.46 * std::cos(x));
}

double interpolated(double x) {
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

} // namespace

QSize fitted(QSize size, int longerSide) {
    const double factor = static_cast<double>(longerSide) / std::max(size.width(), size.height());
    const auto side = [factor](int length) { return std::max(1, static_cast<int>(std::lround(length * factor))); };
    return {side(size.width()), side(size.height())};
}

Picture scaled(const Picture &picture, QSize size) {
    if (size == QSize(picture.width, picture.height))
        return picture;
    Scaler scaler({picture.width, picture.height}, size);
    const Scaler::Rows all{0, size.height()};
    scaler.scale(all, picture.row(scaler.sources(all).first));
    return scaler.take();
}

Scaler::Mix::Mix(int from, int to) : first(to) {
    const double ratio = static_cast<double>(from) / to;
    const double reach = std::max(1.0, ratio);
    const auto filter = ratio > 1 ? windowed : interpolated;
    taps = std::min(static_cast<int>(std::ceil(2 * reach)), from);
    taps += taps % 2;
    weights.resize(static_cast<std::size_t>(to) * taps);
    std::vector<double> exact(taps);
    for (int i = 0; i < to; ++i) {
        const double centre = (i + 0.5) * ratio - 0.5;
        first[i] = std::clamp(static_cast<int>(std::ceil(centre - reach)), 0, std::max(0, from - taps));
        for (int k = 0; k < taps; ++k)
            exact[k] = first[i] + k < from ? filter((first[i] + k - centre) / reach) : 0;
        roundWeights(exact, &weights[static_cast<std::size_t>(i) * taps]);
    }
}

Scaler::Scaler(QSize from, QSize to)
    : m_from(from), m_to(to), m_columns(from.width(), to.width()), m_rows(from.height(), to.height()),
      m_row(static_cast<std::size_t>(from.width()) + 1),
      m_pixels(std::make_shared_for_overwrite<std::uint32_t[]>(static_cast<std::size_t>(to.width()) * to.height())) {}

Scaler::Rows Scaler::sources(Rows results) const {
    const int first = m_rows.first[results.first];
    const int end = m_rows.first[results.first + results.count - 1] + m_rows.taps;
    return {first, std::min(end, m_from.height()) - first};
}

void Scaler::scale(Rows results, const std::uint32_t *original) {
    const Rows rows = sources(results);
    const auto row = [&](int y) { return original + static_cast<std::size_t>(y - rows.first) * m_from.width(); };
    for (int y = results.first; y < results.first + results.count; ++y) {
        mixRows(row(m_rows.first[y]), row(rows.first + rows.count - 1),
                &m_rows.weights[static_cast<std::size_t>(y) * m_rows.taps]);
        mixColumns(m_pixels.get() + static_cast<std::size_t>(y) * m_to.width());
    }
}

// One row out of several of the original, the first of them given; `last` is the last there is.
void Scaler::mixRows(const std::uint32_t *original, const std::uint32_t *last, const std::uint16_t *weights) {
    constexpr int STEP = 8;
    const std::size_t bytes = static_cast<std::size_t>(m_from.width()) * sizeof(std::uint32_t);
    auto *out = reinterpret_cast<std::uint8_t *>(m_row.data());
    const auto mixBytes = [&]<int COUNT>(std::size_t at) {
        Lanes<COUNT> sum = Lanes<COUNT>{} + HALF;
        const std::uint32_t *row = original;
        for (int k = 0; k < m_rows.taps; ++k, row = std::min(row + m_from.width(), last))
            sum += load<COUNT>(reinterpret_cast<const std::uint8_t *>(row) + at) * weights[k];
        store<COUNT>(sum, out + at);
    };
    std::size_t at = 0;
    for (; at + STEP <= bytes; at += STEP)
        mixBytes.operator()<STEP>(at);
    for (; at < bytes; at += sizeof(std::uint32_t))
        mixBytes.operator()<sizeof(std::uint32_t)>(at);
}

void Scaler::mixColumns(std::uint32_t *out) const {
    const std::uint16_t *weight = m_columns.weights.data();
    for (const int first : m_columns.first) {
        Lanes<8> sum = {HALF, HALF, HALF, HALF, 0, 0, 0, 0};
        const auto *source = reinterpret_cast<const std::uint8_t *>(&m_row[first]);
        for (int k = 0; k < m_columns.taps; k += 2, source += 8, weight += 2)
            sum += load<8>(source) *
                   Lanes<8>{weight[0], weight[0], weight[0], weight[0], weight[1], weight[1], weight[1], weight[1]};
        const Lanes<4> both =
            __builtin_shufflevector(sum, sum, 0, 1, 2, 3) + __builtin_shufflevector(sum, sum, 4, 5, 6, 7);
        store<4>(both, out++);
    }
}

} // namespace ombru
