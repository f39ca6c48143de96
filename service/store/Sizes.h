// How many bytes there are of each computer, and of all. A value; what was never set is nothing.
#pragma once
#include <QtGlobal>

#include <unordered_map>
#include <utility>

namespace ombru {

class Sizes {
public:
    qint64 sum() const { return m_sum; }
    void set(qint64 computer, qint64 bytes) { m_sum += bytes - std::exchange(m_each[computer], bytes); }

    // What those of others make of it: their numbers take the place of its own.
    qint64 sumWith(const Sizes &others) const {
        auto sum = m_sum + others.m_sum;
        for (const auto &[computer, bytes] : others.m_each)
            if (const auto its = m_each.find(computer); its != m_each.end())
                sum -= its->second;
        return sum;
    }
    void take(const Sizes &others) {
        for (const auto &[computer, bytes] : others.m_each)
            set(computer, bytes);
    }

private:
    std::unordered_map<qint64, qint64> m_each;
    qint64 m_sum = 0;
};

} // namespace ombru
