#include "service/rates/Rates.h"

#include <QHostAddress>

#include <algorithm>

namespace ombru {

using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration FORGOTTEN_EVERY = 60s;

double minutes(Clock::Duration duration) {
    return std::chrono::duration<double, std::ratio<60>>(duration).count();
}

} // namespace

QString networkOf(const QString &address) {
    const QHostAddress parsed(address);
    bool isFour = false;
    const auto four = parsed.toIPv4Address(&isFour);
    if (isFour)
        return QHostAddress(four).toString();
    if (parsed.protocol() != QAbstractSocket::IPv6Protocol)
        return address;
    constexpr qsizetype NETWORK = 8; // bytes
    const auto six = parsed.toIPv6Address();
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(&six), NETWORK).toHex());
}

double Allowance::now() const {
    return std::min(m_limit.atOnce, m_left + minutes(Clock::now() - m_at) * m_limit.aMinute);
}

bool Allowance::take() {
    m_left = now();
    m_at = Clock::now();
    if (m_left < 1)
        return false;
    m_left -= 1;
    return true;
}

bool Rate::allows(const QString &who) {
    forget();
    return m_left.try_emplace(who, m_limit).first->second.take();
}

void Rate::forget() {
    const auto now = Clock::now();
    if (now - m_forgotten < FORGOTTEN_EVERY)
        return;
    m_forgotten = now;
    std::erase_if(m_left, [](const auto &each) { return each.second.isWhole(); });
}

int Attempts::left(const QString &who) {
    return m_most - static_cast<int>(recent(who).size());
}

void Attempts::failed(const QString &who) {
    forget();
    m_failed[who].push_back(Clock::now());
}

Clock::Duration Attempts::wait(const QString &who) {
    const auto &times = recent(who);
    return static_cast<int>(times.size()) < m_most ? Clock::Duration::zero() : times.front() + m_within - Clock::now();
}

std::deque<Clock::Time> &Attempts::recent(const QString &who) {
    const auto known = m_failed.find(who);
    if (known == m_failed.end())
        return m_none;
    auto &times = known->second;
    while (!times.empty() && Clock::now() - times.front() >= m_within)
        times.pop_front();
    return times;
}

void Attempts::forget() {
    const auto now = Clock::now();
    if (now - m_forgotten < FORGOTTEN_EVERY)
        return;
    m_forgotten = now;
    std::erase_if(m_failed,
                  [&](const auto &each) { return each.second.empty() || now - each.second.back() >= m_within; });
}

} // namespace ombru
