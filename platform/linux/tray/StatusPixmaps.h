// Pictures as they travel to a host of status items. Any thread.
#pragma once
#include <QDBusArgument>
#include <QIcon>

namespace ombru {

struct StatusPixmap {
    int width = 0;
    int height = 0;
    QByteArray pixels; // ARGB of 8 bits each, alpha first, rows without gaps
};
using StatusPixmaps = QList<StatusPixmap>;

struct StatusToolTip {
    QString iconName;
    StatusPixmaps pixmaps;
    QString title;
    QString text;
};

// In the sizes that panels have.
StatusPixmaps statusPixmaps(const QIcon &icon);

QDBusArgument &operator<<(QDBusArgument &message, const StatusPixmap &pixmap);
const QDBusArgument &operator>>(const QDBusArgument &message, StatusPixmap &pixmap);
QDBusArgument &operator<<(QDBusArgument &message, const StatusToolTip &tip);
const QDBusArgument &operator>>(const QDBusArgument &message, StatusToolTip &tip);

} // namespace ombru
