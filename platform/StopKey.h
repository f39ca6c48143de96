// A key for the whole desktop, seen whatever program has the focus, also while another one has grabbed the keyboard.
// It is not taken from them: who has the focus gets it as well. Only a person's keys count, not those that programs
// send, so that a script can neither press it nor hide it. Main thread.
#pragma once
#include "base/Failure.h"
#include "base/KeyCombination.h"

#include <functional>
#include <memory>

namespace ombru {

// Sees the keys while it lives. It costs a wake-up for each key that anybody presses.
class StopKey {
public:
    StopKey(const KeyCombination &keys, std::function<void()> onPress);
    ~StopKey();
    StopKey(const StopKey &) = delete;
    StopKey &operator=(const StopKey &) = delete;

    // Whether it can be seen here: there is a display that tells of keys, and a keyboard that has these.
    bool works() const;

private:
    class Watch;
    std::unique_ptr<Watch> m_watch;
};

// Whether it can be seen here and belongs to nobody else; the failure (domain "stopKey") says which of the two. Any
// thread but the main one: blocks while the display answers.
Result<> stopKeyUsable(const KeyCombination &keys);

constexpr int STOP_KEY_TAKEN = 2; // the code of that failure: it is seen, but another program acts on it, too

} // namespace ombru
