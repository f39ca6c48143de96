#include "platform/linux/tray/StatusPixmaps.h"

#include <QImage>
#include <QtEndian>

#include <array>

namespace ombru {
namespace {

constexpr std::array SIZES{16, 22, 24, 32, 48, 64};

StatusPixmap asPixmap(const QImage &image) {
    StatusPixmap pixmap{image.width(), image.height(), QByteArray(image.sizeInBytes(), Qt::Uninitialized)};
    qToBigEndian<quint32>(image.constBits(), image.sizeInBytes() / 4,
                          pixmap.pixels.data()); // four bytes a pixel: no gaps
    return pixmap;
}

} // namespace

StatusPixmaps statusPixmaps(const QIcon &icon) {
    StatusPixmaps pixmaps;
    for (const int size : SIZES) {
        const auto image = icon.pixmap(QSize(size, size), 1.0).toImage().convertToFormat(QImage::Format_ARGB32);
        const bool isNew = pixmaps.isEmpty() || pixmaps.last().width != image.width();
        if (!image.isNull() && isNew)
            pixmaps.append(asPixmap(image));
    }
    return pixmaps;
}

QDBusArgument &operator<<(QDBusArgument &message, const StatusPixmap &pixmap) {
    message.beginStructure();
    message << pixmap.width << pixmap.height << pixmap.pixels;
    message.endStructure();
    return message;
}

const QDBusArgument &operator>>(const QDBusArgument &message, StatusPixmap &pixmap) {
    message.beginStructure();
    message >> pixmap.width >> pixmap.height >> pixmap.pixels;
    message.endStructure();
    return message;
}

QDBusArgument &operator<<(QDBusArgument &message, const StatusToolTip &tip) {
    message.beginStructure();
    message << tip.iconName << tip.pixmaps << tip.title << tip.text;
    message.endStructure();
    return message;
}

const QDBusArgument &operator>>(const QDBusArgument &message, StatusToolTip &tip) {
    message.beginStructure();
    message >> tip.iconName >> tip.pixmaps >> tip.title >> tip.text;
    message.endStructure();
    return message;
}

} // namespace ombru
