#include "osascript/desktop/Typist.h"

#include "osascript/desktop/InputState.h"
#include "osascript/desktop/TextSymbols.h"

#include <set>

namespace ombru {

Result<> Typist::type(Symbol &next, Symbol end) {
    if (const auto shift = m_map->keyOf(applescript::Modifier::shift))
        m_shift = *shift;
    else
        return std::unexpected(shift.error());
    Result<> typed = borrowFor(next, end);
    while (next != end && typed && !m_isRestWanted())
        typed = typeSome(next, end);
    return typed;
}

Result<> Typist::borrowFor(Symbol begin, Symbol end) {
    std::set<xkb_keysym_t> foreign;
    for (auto symbol = begin; symbol != end; ++symbol)
        if (!m_map->strokeFor(*symbol))
            foreign.insert(*symbol);
    return foreign.empty() ? Result<>() : m_borrowed.borrow(m_map->spareKeys(), foreign.size());
}

Result<> Typist::typeSome(Symbol &next, Symbol end) {
    std::map<xkb_keysym_t, Stroke> strokes;
    std::vector<xkb_keysym_t> foreign;
    Symbol stop = next;
    for (; stop != end && admit(*stop, strokes, foreign); ++stop) {
    }
    if (!foreign.empty()) {
        if (const auto bound = m_borrowed.bind(foreign); !bound)
            return bound;
        if (const auto read = m_settled.wait(READ_MAP_MILLISECONDS); !read)
            return read;
    }
    while (next != stop && !m_isRestWanted()) {
        if (const auto typed = press(runOf(strokes, next, stop)); !typed)
            return typed;
    }
    return m_borrowed.areBound() ? m_settled.wait(WORK_OFF_MILLISECONDS) : m_x11->flush();
}

bool Typist::admit(xkb_keysym_t symbol, std::map<xkb_keysym_t, Stroke> &strokes, std::vector<xkb_keysym_t> &foreign) {
    if (strokes.contains(symbol))
        return true;
    if (const auto stroke = m_map->strokeFor(symbol)) {
        strokes.emplace(symbol, *stroke);
        return true;
    }
    if (foreign.size() == m_borrowed.capacity())
        return false;
    strokes.emplace(symbol, m_borrowed.stroke(foreign.size()));
    foreign.push_back(borrowedSymbol(symbol));
    return true;
}

// As many as may be sent in one go, for one look at who gets them. A key that comes back at once looks like one that
// repeats, so it begins another run.
std::vector<Stroke> Typist::runOf(const std::map<xkb_keysym_t, Stroke> &strokes, Symbol &next, Symbol stop) {
    constexpr std::size_t LONGEST = 16;
    std::vector<Stroke> run;
    for (; next != stop && run.size() < LONGEST; ++next) {
        const Stroke &stroke = strokes.at(*next);
        if (!run.empty() && run.back().key == stroke.key)
            break;
        run.push_back(stroke);
    }
    return run;
}

Result<> Typist::press(const std::vector<Stroke> &run) {
    constexpr int APART_MILLISECONDS = 2;
    if (run.front().key == m_last)
        m_x11->pause(APART_MILLISECONDS);
    m_last = run.back().key;
    return m_aim->keys([&] {
        for (const Stroke &stroke : run) {
            if (stroke.shift)
                sendKey(*m_x11, m_shift, true);
            tapKey(*m_x11, stroke.key);
            if (stroke.shift)
                sendKey(*m_x11, m_shift, false);
        }
    });
}

} // namespace ombru
