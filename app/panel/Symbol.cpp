#include "app/panel/Symbol.h"

#include "look/Colours.h"

#include <QFile>
#include <QPainter>
#include <QSvgRenderer>

// Outside the namespace, as Qt's macro wants it: a library's own pictures are not found by themselves.
static void loadSymbols() {
    Q_INIT_RESOURCE(symbols);
}

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr std::array SIZES{16, 22, 24, 32, 48, 64};
const QColor TONE(0x7c8288); // 3.4 to 1 and more against any bar, light or dark

QByteArray drawing(const QString &name) {
    loadSymbols();
    QFile file(u":/symbols/%1.svg"_s.arg(name));
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
}

// The drawings have no colour of their own.
void paint(QPainter &painter, QByteArray svg, const QColor &colour, const QRectF &place) {
    svg.replace("currentColor", colour.name().toLatin1());
    QSvgRenderer(svg).render(&painter, place);
}

void paintMark(QPainter &painter, int size) {
    const double radius = size * 0.2;
    const QPointF middle(size - radius * 1.2, size - radius * 1.2);
    painter.setPen(Qt::NoPen);
    painter.setCompositionMode(QPainter::CompositionMode_Clear); // apart from the symbol
    painter.drawEllipse(middle, radius * 1.2, radius * 1.2);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setBrush(lightColours().waiting);
    painter.drawEllipse(middle, radius, radius);
}

QPixmap forBar(const QByteArray &svg, int size, bool marked) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    paint(painter, svg, TONE, QRectF(0, 0, size, size));
    if (marked)
        paintMark(painter, size);
    return pixmap;
}

} // namespace

QPixmap symbolPixmap(const QString &name, int size, const QColor &colour, qreal scale) {
    QPixmap pixmap(QSize(size, size) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    paint(painter, drawing(name), colour, QRectF(0, 0, size, size));
    return pixmap;
}

QIcon symbolForBar(const QString &name, bool marked) {
    QIcon icon;
    const auto svg = drawing(name);
    for (const int size : SIZES)
        icon.addPixmap(forBar(svg, size, marked));
    return icon;
}

} // namespace ombru
