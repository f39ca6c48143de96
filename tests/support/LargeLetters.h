// Letters for eyes that see little, and whether a window has room for them. Main thread, with a graphical application.
#pragma once
#include <QAbstractButton>
#include <QFont>
#include <QLabel>
#include <QScreen>
#include <QWidget>

namespace ombru::test {

inline QFont twiceAsLarge(QFont font) {
    font.setPointSizeF(2 * font.pointSizeF());
    return font;
}

// What is cut or in another's place, in words; empty when all that the window shows can be read. `within` is what
// scrolls, where a window does.
inline QStringList misfits(const QWidget &window, const QWidget &within) {
    QStringList found;
    if (!window.screen()->availableGeometry().contains(window.frameGeometry()))
        found += QStringLiteral("the window leaves the screen");
    QList<const QWidget *> shown;
    for (const auto *widget : within.findChildren<QWidget *>()) {
        const auto *label = qobject_cast<const QLabel *>(widget);
        const auto *button = qobject_cast<const QAbstractButton *>(widget);
        if (!widget->isVisible() || (!button && (!label || label->text().isEmpty())))
            continue;
        const auto text = button ? button->text() : label->text();
        const auto inside = widget->contentsRect();
        const auto needed =
            button ? QRect(QPoint(), button->minimumSizeHint())
                   : label->fontMetrics().boundingRect(
                         inside, int(label->alignment()) | (label->wordWrap() ? Qt::TextWordWrap : 0), text);
        if (needed.width() > inside.width() || needed.height() > inside.height())
            found += QStringLiteral("“%1” is cut").arg(text);
        const QRect place(widget->mapTo(&within, QPoint()), widget->size());
        if (!within.rect().contains(place))
            found += QStringLiteral("“%1” leaves the window").arg(text);
        for (const auto *other : std::as_const(shown))
            if (place.intersects(QRect(other->mapTo(&within, QPoint()), other->size())))
                found += QStringLiteral("“%1” overlaps another").arg(text);
        shown += widget;
    }
    return found;
}

} // namespace ombru::test
