// The secrets of this computer's sign-in, which the owner's own store keeps. That store may ask the owner first, so it
// is read once, off the main thread; from then on what is asked is answered at once from memory, and what is set is
// written in that order. Main thread; end() before it is destroyed.
#pragma once
#include "base/Task.h"

#include <QString>

#include <deque>
#include <map>
#include <optional>
#include <vector>

namespace ombru {

class Keychain {
public:
    // Reads the key from the store, however long its owner takes to unlock it, or until a stop. What was set meanwhile
    // counts.
    Task<> load(QString key, std::stop_token stop);

    // None as long as it was neither loaded nor set, and when there is none.
    std::optional<QString> get(const QString &key) const;
    // None deletes it. What the store does not do, the log says.
    void set(const QString &key, const std::optional<QString> &value);

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

    std::map<QString, std::optional<QString>> m_known;
    std::deque<Write> m_writes;
    bool m_writing = false;
    Completion m_written;
    std::vector<Completion> m_waiting;
    TaskScope m_tasks;
};

} // namespace ombru
