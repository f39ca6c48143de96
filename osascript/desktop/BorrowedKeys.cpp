#include "osascript/desktop/BorrowedKeys.h"

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr int PATIENCE_MILLISECONDS = 10'000; // with others that type
constexpr int GLANCE_MILLISECONDS = 50;

// The symbols of the key with that index, as many as are left for it. A lone one is on both levels.
KeySymbols symbolsFor(xcb_keycode_t key, std::size_t index, const std::vector<xkb_keysym_t> &symbols) {
    if (index * 2 >= symbols.size())
        return {key};
    const xkb_keysym_t plain = symbols[index * 2];
    return {key, plain, index * 2 + 1 < symbols.size() ? symbols[index * 2 + 1] : plain};
}

} // namespace

BorrowedKeys::~BorrowedKeys() {
    if (m_loan.keys.empty())
        return;
    const ServerGrab grab(*m_x11);
    giveBack(*m_x11, {m_loan}, othersLoans());
}

Result<> BorrowedKeys::borrow(const std::vector<xcb_keycode_t> &spare, std::size_t symbols) {
    if (spare.empty())
        return std::unexpected(
            desktopFailure(CANNOT_DO_IT, u"The keyboard has no such key, and no free one to put it on."_s));
    const bool taken = m_x11->waitFor(PATIENCE_MILLISECONDS, [&] {
        if (take(spare, (symbols + 1) / 2))
            return true;
        m_x11->pause(GLANCE_MILLISECONDS);
        return false;
    });
    if (const auto alive = m_x11->flush(); taken || !alive)
        return alive;
    return std::unexpected(desktopFailure(CANNOT_DO_IT, u"Another program has all free keys of the keyboard."_s));
}

bool BorrowedKeys::take(const std::vector<xcb_keycode_t> &spare, std::size_t keys) {
    const ServerGrab grab(*m_x11);
    const auto others = othersLoans();
    const auto table = SymbolTable::read(*m_x11, spare.front(), spare.back());
    m_loan = ownLoan();
    for (const xcb_keycode_t key : spare)
        if (m_loan.keys.size() < keys && !isLent(others, key) && table && table->isEmpty(key))
            m_loan.keys.push_back({key});
    if (!m_loan.keys.empty())
        noteWith(others);
    return !m_loan.keys.empty();
}

Result<> BorrowedKeys::bind(const std::vector<xkb_keysym_t> &symbols) {
    const ServerGrab grab(*m_x11);
    const auto others = othersLoans(); // may change keys
    auto table = SymbolTable::read(*m_x11, m_loan.keys.front().key, m_loan.keys.back().key);
    if (!table) {
        const auto alive = m_x11->flush();
        return alive ? std::unexpected(desktopFailure(CANNOT_DO_IT, u"The display does not show its keyboard."_s))
                     : alive;
    }
    for (std::size_t index = 0; index < m_loan.keys.size(); ++index) {
        const KeySymbols now = symbolsFor(m_loan.keys[index].key, index, symbols);
        if (now != m_loan.keys[index])
            table->put(now);
        m_loan.keys[index] = now;
    }
    m_bound = true;
    // Both leave in one piece, so that whoever finds the keys changed finds the note, too.
    noteWith(others);
    table->write(*m_x11);
    return {};
}

std::vector<KeyLoan> BorrowedKeys::othersLoans() const {
    auto loans = livingLoans(*m_x11);
    std::erase_if(loans, [own = ownLoan()](const KeyLoan &loan) { return loan.isOf(own); });
    return loans;
}

void BorrowedKeys::noteWith(std::vector<KeyLoan> others) {
    others.push_back(m_loan);
    noteLoans(*m_x11, others);
}

} // namespace ombru
