#include "app/panel/Symbol.h"

#include "look/Colours.h"

#include <QDataStream>
#include <QFile>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>

// Outside the namespace, as Qt's macro wants it: a library's own pictures are not found by themselves.
static void loadSymbols() {
    Q_INIT_RESOURCE(symbols);
}

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

const QColor TONE(0x7c8288); // 3.4 to 1 and more against any bar, light or dark

void paint(QPainter &canvas, const QString &name, int size, const QColor &colour) {
    loadSymbols();
    QFile file(u":/symbols/"_s + name);
    if (!file.open(QFile::ReadOnly))
        return;
    QList<QPainterPath> outlines;
    QDataStream stream(&file);
    stream >> outlines;
    canvas.setRenderHint(QPainter::Antialiasing);
    for (const auto &outline : outlines)
        canvas.fillPath(QTransform::fromScale(size, size).map(outline), colour);
}

void paintMark(QPainter &canvas, int size) {
    const double radius = size * 0.2;
    const QPointF middle(size - radius * 1.2, size - radius * 1.2);
    canvas.setPen(Qt::NoPen);
    canvas.setCompositionMode(QPainter::CompositionMode_Clear); // apart from the symbol
    canvas.drawEllipse(middle, radius * 1.2, radius * 1.2);
    canvas.setCompositionMode(QPainter::CompositionMode_SourceOver);
    canvas.setBrush(lightColours().waiting);
    canvas.drawEllipse(middle, radius, radius);
}

// Drawn when it is wanted, in the size that is: a bar wants one, and keeping all would take memory.
class Symbol final : public QIconEngine {
public:
    Symbol(QString name, bool isMarked) : m_name(std::move(name)), m_isMarked(isMarked) {}

    QPixmap pixmap(const QSize &space, QIcon::Mode, QIcon::State) override {
        const int size = std::min(space.width(), space.height());
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter canvas(&pixmap);
        ombru::paint(canvas, m_name, size, TONE);
        if (m_isMarked)
            paintMark(canvas, size);
        return pixmap;
    }
    void paint(QPainter *painter, const QRect &place, QIcon::Mode mode, QIcon::State state) override {
        painter->drawPixmap(place, pixmap(place.size(), mode, state));
    }
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override {
        QList<QSize> sizes;
        for (const int size : {16, 22, 24, 32, 48, 64})
            sizes.emplace_back(size, size);
        return sizes;
    }
    bool isNull() override { return false; }
    QIconEngine *clone() const override { return new Symbol(*this); }

private:
    QString m_name;
    bool m_isMarked;
};

} // namespace

QPixmap symbolPixmap(const QString &name, int size, const QColor &colour, qreal scale) {
    QPixmap pixmap(QSize(size, size) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter canvas(&pixmap);
    paint(canvas, name, size, colour);
    return pixmap;
}

QIcon symbolForBar(const QString &name, bool marked) {
    return QIcon(new Symbol(name, marked));
}

} // namespace ombru
