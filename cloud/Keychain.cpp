#include "cloud/Keychain.h"

#include "base/Background.h"
#include "platform/SecretStore.h"
#include "platform/SystemLog.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr Clock::Duration OWNERS_TIME = std::chrono::hours(24); // to unlock a store

// Nobody is asked or shown anything: `ombru doctor` tells it, too.
void logFailure(const QString &key, bool wasToBeKept) {
    logger::error(
        wasToBeKept ? u"The store for secrets has not kept \"%1\": it is gone with the end of this program."_s.arg(key)
                    : u"The store for secrets still has \"%1\": it is used no more, and deleted when it is seen "
                      "unlocked."_s.arg(key));
}

} // namespace

Task<> Keychain::load(QString key, std::stop_token stop) {
    const auto stored = co_await backgroundWithin(OWNERS_TIME, stop, [key] { return secret(key); });
    if (stored)
        m_known.try_emplace(key, *stored);
}

std::optional<QString> Keychain::get(const QString &key) const {
    const auto found = m_known.find(key);
    return found == m_known.end() ? std::nullopt : found->second;
}

void Keychain::set(const QString &key, const std::optional<QString> &value) {
    m_known[key] = value;
    m_writes.push_back({key, value});
    if (std::exchange(m_writing, true))
        return;
    m_written = {};
    m_tasks.start(write());
}

// One after the other, each on a thread of its own while the owner may be asked.
Task<> Keychain::write() {
    const auto stop = m_tasks.token();
    while (!m_writes.empty() && !stop.stop_requested()) {
        const auto next = std::move(m_writes.front());
        m_writes.pop_front();
        const auto kept =
            co_await backgroundWithin(OWNERS_TIME, stop, [next] { return setSecret(next.key, next.value); });
        if (kept && !*kept)
            logFailure(next.key, next.value.has_value());
    }
    m_writing = false;
    m_written.fire();
    for (const auto &waiting : std::exchange(m_waiting, {}))
        waiting.fire();
}

Task<> Keychain::written() {
    if (!m_writing)
        co_return;
    const auto over = m_waiting.emplace_back();
    co_await over;
}

Task<> Keychain::end(Clock::Duration limit) {
    const auto timer = Loop::main().after(limit, [written = m_written] { written.fire(); });
    if (m_writing)
        co_await m_written;
    co_await m_tasks.drain();
}

} // namespace ombru
