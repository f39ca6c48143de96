// What a notification server makes of a text. Any thread.
#pragma once
#include <QStringList>

#include <algorithm>

namespace ombru {

// Whether it reads markup in the text, so that what is meant literally has to be escaped. Some name only one kind of
// what they understand.
inline bool readsMarkup(const QStringList &capabilities) {
    return std::ranges::any_of(capabilities, [](const QString &capability) {
        return QStringList{QStringLiteral("body-markup"), QStringLiteral("body-hyperlinks"),
                           QStringLiteral("body-images")}
            .contains(capability);
    });
}

} // namespace ombru
