// Pictures made smaller or larger, fast and with small text kept legible. Any one thread at a time.
#pragma once
#include "picture/Picture.h"

#include <QSize>

#include <vector>

namespace ombru {

// The size with the aspect of `size` (not empty) whose longer side is `longerSide`; no side is less than 1.
QSize fitted(QSize size, int longerSide);

// The picture, which is not empty, in that size, which is not empty either. Every pixel of the original counts when it
// shrinks; it is interpolated when it grows.
Picture scaled(const Picture &picture, QSize size);

// The same in bands, for a picture that is never whole in memory. Neither size is empty.
class Scaler {
public:
    Scaler(QSize from, QSize to);

    // What rows [first, first + count) of the result are made of: some rows of the original.
    struct Rows {
        int first = 0;
        int count = 0;
    };
    Rows sources(Rows results) const;

    // Makes those rows of the result. `original` is the first of sources(results), and the others follow it without
    // gaps.
    void scale(Rows results, const std::uint32_t *original);

    // The result, once all its rows are made.
    Picture take() { return {m_to.width(), m_to.height(), std::move(m_pixels)}; }

private:
    // How the pixels of one line make those of another: pixel i is the sum of `taps` pixels from first[i] on, each
    // times its weight.
    struct Mix {
        Mix(int from, int to);
        int taps = 0; // even, so that pixels can be taken in pairs; the last may be one past the end, with no weight
        std::vector<int> first;
        std::vector<std::uint16_t> weights; // `taps` for each pixel
    };
    void mixRows(const std::uint32_t *original, const std::uint32_t *last, const std::uint16_t *weights);
    void mixColumns(std::uint32_t *out) const;

    QSize m_from;
    QSize m_to;
    Mix m_columns;
    Mix m_rows;
    std::vector<std::uint32_t> m_row; // one of the result's rows at the original's width, and a pixel without weight
    std::shared_ptr<std::uint32_t[]> m_pixels;
};

} // namespace ombru
