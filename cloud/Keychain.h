// The secrets of this computer's sign-in, which the owner's own store keeps. That store may ask the owner first, so it
// is read once, off the main thread; from then on what is asked is answered at once from memory, and what is set is
// written in that order. Main thread; end() before it is destroyed.
#pragma once
#include "base/Task.h"

#include <QString>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace ombru {

class Keychain {
public:
    // Told of each key whose value the store did not take: it is gone with this program.
    explicit Keychain(std::function<void(const QString &key)> onLost) : m_onLost(std::move(onLost)) {}

    // Reads the key from the store, however long its owner takes to unlock it, or until a stop. What was set meanwhile
    // counts.
    Task<> load(QString key, std::stop_token stop);

    // None as long as it was neither loaded nor set, and when there is none.
    std::optional<QString> get(const QString &key) const;
    void set(const QString &key, const std::optional<QString> &value); // none deletes it

    // Waits until all is written, that long at most: a store may never answer.
    Task<> end(Clock::Duration limit);

    // Once all that was set so far has been written.
    Task<> written();

private:
    struct Write {
        QString key;
        std::optional<QString> value;
    };
    Task<> write();

    std::function<void(const QString &key)> m_onLost;
    std::map<QString, std::optional<QString>> m_known;
    std::deque<Write> m_writes;
    bool m_writing = false;
    Completion m_written;
    std::vector<Completion> m_waiting;
    TaskScope m_tasks;
};

} // namespace ombru
