#include "osascript/desktop/KeyLoans.h"

#include "platform/linux/system/ProcessStat.h"

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr const char *PROPERTY = "_OMBRU_BORROWED_KEYS";

// Its numbers: the mark, then for every loan its head and its keys. What begins or ends otherwise is not ours.
constexpr std::uint32_t MARK = 0x4b4c4e31;
constexpr std::size_t HEAD = 4;        // process, start's low and high half, how many keys
constexpr std::size_t KEY = 3;         // its code and symbols
constexpr std::uint32_t LEAST_KEY = 8; // of any X server
constexpr std::uint32_t MOST_KEY = 255;

std::vector<std::uint32_t> toNumbers(const std::vector<KeyLoan> &loans) {
    std::vector<std::uint32_t> numbers;
    for (const KeyLoan &loan : loans) {
        numbers.insert(numbers.end(),
                       {loan.pid, static_cast<std::uint32_t>(loan.started),
                        static_cast<std::uint32_t>(loan.started >> 32), static_cast<std::uint32_t>(loan.keys.size())});
        for (const KeySymbols &key : loan.keys)
            numbers.insert(numbers.end(), {key.key, key.plain, key.shifted});
    }
    if (!numbers.empty())
        numbers.insert(numbers.begin(), MARK);
    return numbers;
}

std::vector<KeyLoan> loansIn(const std::vector<std::uint32_t> &numbers) {
    if (numbers.empty() || numbers.front() != MARK)
        return {};
    std::vector<KeyLoan> loans;
    for (std::size_t at = 1; at < numbers.size();) {
        if (numbers.size() - at < HEAD || numbers[at + 3] > (numbers.size() - at - HEAD) / KEY)
            return {};
        KeyLoan loan{numbers[at], numbers[at + 1] | std::uint64_t(numbers[at + 2]) << 32, {}};
        const std::size_t end = at + HEAD + numbers[at + 3] * KEY;
        for (at += HEAD; at < end; at += KEY) {
            if (numbers[at] < LEAST_KEY || numbers[at] > MOST_KEY)
                return {};
            loan.keys.push_back({static_cast<xcb_keycode_t>(numbers[at]), numbers[at + 1], numbers[at + 2]});
        }
        loans.push_back(std::move(loan));
    }
    return loans;
}

// None when there is no such process, or it has ended and only its parent has not heard yet.
std::optional<std::uint64_t> startOf(std::uint32_t pid) {
    const auto stat = processStat(u"/proc/%1"_s.arg(pid));
    return stat && !stat->ended ? std::optional<std::uint64_t>(stat->start) : std::nullopt;
}

bool ownerLives(const KeyLoan &loan) {
    return startOf(loan.pid) == loan.started;
}

} // namespace

KeyLoan ownLoan() {
    const auto pid = static_cast<std::uint32_t>(::getpid());
    return {pid, startOf(pid).value_or(0), {}};
}

std::vector<KeyLoan> livingLoans(X11 &x11) {
    std::vector<KeyLoan> living;
    std::vector<KeyLoan> gone;
    for (KeyLoan &loan : loansIn(x11.numbers(x11.root(), PROPERTY)))
        (ownerLives(loan) ? living : gone).push_back(std::move(loan));
    if (!gone.empty())
        giveBack(x11, gone, living);
    return living;
}

bool isLent(const std::vector<KeyLoan> &loans, xcb_keycode_t key) {
    return std::ranges::any_of(loans, [&](const KeyLoan &loan) {
        return std::ranges::find(loan.keys, key, &KeySymbols::key) != loan.keys.end();
    });
}

void noteLoans(X11 &x11, const std::vector<KeyLoan> &loans) {
    x11.setNumbers(x11.root(), PROPERTY, toNumbers(loans));
}

void giveBack(X11 &x11, const std::vector<KeyLoan> &gone, const std::vector<KeyLoan> &left) {
    std::vector<KeySymbols> keys;
    for (const KeyLoan &loan : gone)
        std::ranges::copy_if(loan.keys, std::back_inserter(keys), [&](const KeySymbols &key) {
            return key.plain != XKB_KEY_NoSymbol && !isLent(left, key.key);
        });
    if (!keys.empty()) {
        const auto [first, last] = std::ranges::minmax(keys, {}, &KeySymbols::key);
        auto table = SymbolTable::read(x11, first.key, last.key);
        for (const KeySymbols &key : keys)
            // A layout that was chosen meanwhile may have a use for the key.
            if (table && table->at(key.key) == key)
                table->put({key.key});
        if (table)
            table->write(x11);
    }
    noteLoans(x11, left);
}

} // namespace ombru
