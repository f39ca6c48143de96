// How much one who asks may ask for: so many at once, then so many a minute. And how often one may be wrong. Those who
// have not come for a while cost nothing. One thread at a time.
#pragma once
#include "base/Clock.h"

#include <QHash>
#include <QString>

#include <deque>
#include <unordered_map>

namespace ombru {

// For whom the limits of an address count: a network of IPv6 is one household, whatever each of its computers calls
// itself there; an address of IPv4 may be written as one of IPv6.
QString networkOf(const QString &address);

// Of one.
class Allowance {
public:
    struct Limit {
        double atOnce;
        double aMinute;
    };
    explicit Allowance(Limit limit) : m_limit(limit), m_left(limit.atOnce) {}

    bool take();
    bool isWhole() const { return now() >= m_limit.atOnce; }

private:
    double now() const;

    Limit m_limit;
    double m_left;
    Clock::Time m_at = Clock::now();
};

class Rate {
public:
    using Limit = Allowance::Limit;
    explicit Rate(Limit limit) : m_limit(limit) {}

    bool allows(const QString &who); // and counts it

private:
    void forget();

    const Limit m_limit;
    std::unordered_map<QString, Allowance> m_left;
    Clock::Time m_forgotten = Clock::now();
};

class Attempts {
public:
    Attempts(int most, Clock::Duration within) : m_most(most), m_within(within) {}

    int left(const QString &who);
    void failed(const QString &who);
    void succeeded(const QString &who) { m_failed.erase(who); }
    Clock::Duration wait(const QString &who); // until there is one left again

private:
    std::deque<Clock::Time> &recent(const QString &who);
    void forget();

    const int m_most;
    const Clock::Duration m_within;
    std::unordered_map<QString, std::deque<Clock::Time>> m_failed;
    std::deque<Clock::Time> m_none;
    Clock::Time m_forgotten = Clock::now();
};

} // namespace ombru
