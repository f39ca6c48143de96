// Keys that are pressed together, as the owner writes them: "Ctrl+Shift+Escape". Any thread.
#pragma once
#include <QString>

#include <optional>

namespace ombru {

struct KeyCombination {
    bool control = false;
    bool shift = false;
    bool alt = false;
    bool super = false;
    QString key; // "A" to "Z", "0" to "9", "F1" to "F24", or a name such as "Escape", "Space" or "PageUp"

    // None when it is no combination, or one that somebody presses who only types. Large and small letters are the
    // same.
    static std::optional<KeyCombination> parsed(QStringView text);

    QString text() const; // as it is shown

    bool operator==(const KeyCombination &) const = default;
};

} // namespace ombru
