// Keys of the keyboard that have no symbols, borrowed for symbols that no key has. One thread.
#pragma once
#include "osascript/desktop/KeyLoans.h"
#include "osascript/desktop/KeyMap.h"

namespace ombru {

// Symbols on spare keys, for as long as the object lives. Two symbols fit on a key: the second comes with Shift.
class BorrowedKeys {
public:
    explicit BorrowedKeys(X11 &x11) : m_x11(&x11) {}
    ~BorrowedKeys();
    BorrowedKeys(const BorrowedKeys &) = delete;
    BorrowedKeys &operator=(const BorrowedKeys &) = delete;

    // Takes so many of the spare keys that the symbols fit, or all that nobody else has; waits while others have every
    // one. A Failure when there is none to be had. To be called once.
    Result<> borrow(const std::vector<xcb_keycode_t> &spare, std::size_t symbols);

    std::size_t capacity() const { return m_loan.keys.size() * 2; }
    bool areBound() const { return m_bound; } // some have symbols now

    // Replaces what was there; at most `capacity()` symbols. A Failure when the server has gone.
    Result<> bind(const std::vector<xkb_keysym_t> &symbols);
    Stroke stroke(std::size_t index) const { return {m_loan.keys[index / 2].key, index % 2 == 1, 0}; }

private:
    bool take(const std::vector<xcb_keycode_t> &spare, std::size_t keys);
    std::vector<KeyLoan> othersLoans() const;
    void noteWith(std::vector<KeyLoan> others);

    X11 *m_x11;
    KeyLoan m_loan;
    bool m_bound = false;
};

} // namespace ombru
