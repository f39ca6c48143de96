#include "base/KeyCombination.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

struct Modifier {
    QLatin1StringView name;
    bool KeyCombination::*held;
};
constexpr std::array MODIFIERS{Modifier{"Ctrl"_L1, &KeyCombination::control},
                               Modifier{"Shift"_L1, &KeyCombination::shift}, Modifier{"Alt"_L1, &KeyCombination::alt},
                               Modifier{"Super"_L1, &KeyCombination::super}};

// Keys that nobody presses to write, so that they may stand alone.
constexpr std::array COMMANDS{"Pause"_L1, "ScrollLock"_L1, "Print"_L1, "Menu"_L1};
constexpr std::array WRITING{"Escape"_L1,   "Tab"_L1,    "Space"_L1, "Return"_L1, "Backspace"_L1,
                             "Insert"_L1,   "Delete"_L1, "Home"_L1,  "End"_L1,    "PageUp"_L1,
                             "PageDown"_L1, "Left"_L1,   "Right"_L1, "Up"_L1,     "Down"_L1};
constexpr int MOST_FUNCTION_KEYS = 24;

bool same(QStringView text, QLatin1StringView name) {
    return text.compare(name, Qt::CaseInsensitive) == 0;
}

QString nameAmong(const auto &names, QStringView text) {
    const auto found = std::ranges::find_if(names, [text](QLatin1StringView name) { return same(text, name); });
    return found == names.end() ? QString() : QString(*found);
}

QString functionKey(QStringView text) {
    for (int number = 1; number <= MOST_FUNCTION_KEYS; ++number) {
        if (const auto name = u"F%1"_s.arg(number); text.compare(name, Qt::CaseInsensitive) == 0)
            return name;
    }
    return {};
}

QString commandKey(QStringView text) {
    const auto function = functionKey(text);
    return function.isEmpty() ? nameAmong(COMMANDS, text) : function;
}

QString writingKey(QStringView text) {
    const auto letter = text.size() == 1 ? text[0].toUpper() : QChar();
    if ((letter >= u'A' && letter <= u'Z') || (letter >= u'0' && letter <= u'9'))
        return letter;
    return nameAmong(WRITING, text);
}

bool hold(KeyCombination &combination, QStringView text) {
    const auto found = std::ranges::find_if(MODIFIERS, [text](const auto &one) { return same(text, one.name); });
    if (found == MODIFIERS.end() || combination.*found->held)
        return false;
    return combination.*found->held = true;
}

} // namespace

std::optional<KeyCombination> KeyCombination::parsed(QStringView text) {
    auto words = text.split(u'+');
    const auto last = words.takeLast().trimmed();
    KeyCombination combination;
    for (const auto word : words) {
        if (!hold(combination, word.trimmed()))
            return std::nullopt;
    }
    const bool commands = combination.control || combination.alt || combination.super;
    combination.key = commandKey(last);
    if (combination.key.isEmpty() && commands)
        combination.key = writingKey(last);
    return combination.key.isEmpty() ? std::nullopt : std::optional(combination);
}

QString KeyCombination::text() const {
    QStringList words;
    for (const auto &modifier : MODIFIERS) {
        if (this->*modifier.held)
            words.append(modifier.name);
    }
    words.append(key);
    return words.join(u'+');
}

} // namespace ombru
