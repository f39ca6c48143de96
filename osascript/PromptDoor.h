// The script's side of the prompts' lock: keeps them away while it works, but not while the program is stopped.
#pragma once
#include "platform/linux/consent/PromptLock.h"

#include <memory>
#include <mutex>

namespace ombru {

class PromptDoor {
public:
    // Goes on with the stops of this program (osascript/Ending.h).
    static std::shared_ptr<PromptDoor> make(const QString &database);

    // Until the value goes, one at a time; by one thread, which waits for open prompts until the time is over. A
    // Failure is PromptLock::forInput()'s.
    Result<std::shared_ptr<const void>> keepAway(const std::optional<Clock::Time> &end);

private:
    explicit PromptDoor(const QString &database) : m_database(database) {}
    struct Kept {
        std::optional<PromptLock> lock;
    };
    void rest();
    bool goOn(); // false: a prompt is open
    void goOnToEnd();

    QString m_database;
    std::mutex m_mutex; // guards the rest; held while the program is stopped
    std::weak_ptr<Kept> m_kept;
    std::shared_ptr<Kept> m_resting; // of the thread that rests, as is:
    std::unique_lock<std::mutex> m_rest;
};

} // namespace ombru
