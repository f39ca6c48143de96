// Who has borrowed which keys of the keyboard. The root window's property _OMBRU_BORROWED_KEYS says it: that outlives a
// program that is killed, and the next one that types gives its keys back. One thread; the caller has grabbed the
// server.
#pragma once
#include "osascript/desktop/KeySymbols.h"

namespace ombru {

// Only empty keys are borrowed: giving one back is emptying it.
struct KeyLoan {
    std::uint32_t pid = 0;
    std::uint64_t started = 0;    // as the system counts it: tells a program from a later one with the same number
    std::vector<KeySymbols> keys; // what they give now by the owner's doing

    bool isOf(const KeyLoan &owner) const { return pid == owner.pid && started == owner.started; }
};

KeyLoan ownLoan(); // without keys

// The loans of programs that live. Those of others are given back first.
std::vector<KeyLoan> livingLoans(X11 &x11);
bool isLent(const std::vector<KeyLoan> &loans, xcb_keycode_t key);

// From now on these are all.
void noteLoans(X11 &x11, const std::vector<KeyLoan> &loans);

// Empties the keys that are still as their owner left them; `left` are the loans that remain.
void giveBack(X11 &x11, const std::vector<KeyLoan> &gone, const std::vector<KeyLoan> &left);

} // namespace ombru
