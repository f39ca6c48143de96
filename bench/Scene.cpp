// Shows a screenful of what people have on their screens, the same at every run: an editor and a terminal full of small
// text, a window of settings, a photo-like picture. Prints "ready" once it is on the screen and stays until it is
// ended. Usage: bench-scene (it covers the primary monitor)
#include <QGuiApplication>
#include <QLinearGradient>
#include <QPainter>
#include <QRasterWindow>
#include <QScreen>
#include <QTimer>

#include <cmath>
#include <cstdlib>
#include <random>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned SEED = 7;

// Soft hills and a sky with a photograph's grain: no two neighbours are quite the same.
QImage photo(QSize size) {
    std::mt19937 random(SEED);
    std::normal_distribution<float> grain(0, 4);
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        const float v = static_cast<float>(y) / size.height();
        for (int x = 0; x < size.width(); ++x) {
            const float u = static_cast<float>(x) / size.width();
            const float hill =
                0.55F + 0.12F * std::sin(u * 7) + 0.05F * std::sin(u * 23 + 1) + 0.01F * std::sin(u * 150);
            const float light = 0.5F + 0.5F * std::sin(u * 40 + v * 60) * std::sin(v * 33 - u * 11);
            const bool land = v > hill;
            const auto shade = [&](float base, float swing) {
                return std::clamp(static_cast<int>(base + swing * light + grain(random)), 0, 255);
            };
            line[x] = land ? qRgb(shade(60 + 40 * v, 60), shade(90 + 30 * u, 50), shade(40, 30))
                           : qRgb(shade(120 + 90 * v, 12), shade(160 + 60 * v, 10), shade(235 - 20 * v, 6));
        }
    }
    return image;
}

QString words(std::mt19937 &random, int count) {
    static const QStringList SOME =
        u"the picture return value window of screen const while file every second note "
        "QString auto name = size() if (ready) else { } // wait for answer 0x7f 1568 path"_s.split(u' ');
    QString line;
    for (int i = 0; i < count; ++i)
        line += SOME[random() % SOME.size()] + u' ';
    return line;
}

void frame(QPainter &painter, QRect window, const QString &title, QColor background) {
    painter.fillRect(window.adjusted(-1, -25, 1, 1), QColor(0x88, 0x88, 0x88));
    QLinearGradient bar(window.topLeft() - QPoint(0, 24), window.topLeft());
    bar.setColorAt(0, QColor(0xee, 0xee, 0xee));
    bar.setColorAt(1, QColor(0xc8, 0xc8, 0xcc));
    painter.fillRect(QRect(window.left(), window.top() - 24, window.width(), 24), bar);
    painter.setPen(Qt::black);
    painter.setFont(QFont(u"DejaVu Sans"_s, 10, QFont::Bold));
    painter.drawText(QRect(window.left() + 8, window.top() - 24, window.width() - 16, 24), Qt::AlignVCenter, title);
    painter.fillRect(window, background);
}

void textWindow(QPainter &painter, QRect window, const QString &title, QColor background, QColor ink, unsigned seed) {
    std::mt19937 random(seed);
    frame(painter, window, title, background);
    painter.setClipRect(window);
    painter.setFont(QFont(u"DejaVu Sans Mono"_s, 10));
    const int step = painter.fontMetrics().height();
    for (int y = window.top() + step, number = 1; y < window.bottom(); y += step, ++number) {
        painter.setPen(QColor(0x88, 0x88, 0x88));
        painter.drawText(window.left() + 6, y, QString::number(number));
        painter.setPen(random() % 5 == 0 ? QColor(0x1c, 0x6e, 0xd0) : ink);
        painter.drawText(window.left() + 50 + static_cast<int>(random() % 4) * 24, y,
                         words(random, static_cast<int>(random() % 14)));
    }
    painter.setClipping(false);
}

void settingsWindow(QPainter &painter, QRect window) {
    std::mt19937 random(SEED);
    frame(painter, window, u"Settings"_s, QColor(0xf4, 0xf4, 0xf6));
    painter.setFont(QFont(u"DejaVu Sans"_s, 11));
    for (int y = window.top() + 20; y + 40 < window.bottom(); y += 44) {
        painter.setPen(Qt::black);
        painter.drawText(window.left() + 24, y + 20, words(random, 4));
        const QRect button(window.right() - 110, y, 90, 28);
        painter.setPen(QColor(0xa0, 0xa0, 0xa8));
        painter.setBrush(random() % 2 ? QColor(0x2f, 0x7b, 0xf6) : QColor(Qt::white));
        painter.drawRoundedRect(button, 6, 6);
    }
}

class Scene : public QRasterWindow {
public:
    explicit Scene(int ready) : m_ready(ready) {}

protected:
    void paintEvent(QPaintEvent *) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QSize all = size();
        const auto part = [all](double x, double y, double w, double h) {
            return QRectF(x * all.width(), y * all.height(), w * all.width(), h * all.height()).toRect();
        };
        QLinearGradient desk(0, 0, all.width(), all.height());
        desk.setColorAt(0, QColor(0x20, 0x3a, 0x5c));
        desk.setColorAt(1, QColor(0x7a, 0x4c, 0x6e));
        painter.fillRect(QRect(QPoint(), all), desk);
        const QRect picture = part(0.50, 0.06, 0.46, 0.46);
        frame(painter, picture, u"holiday.jpg"_s, Qt::black);
        painter.drawImage(picture.topLeft(), photo(picture.size()));
        textWindow(painter, part(0.02, 0.06, 0.45, 0.58), u"notes.txt"_s, Qt::white, Qt::black, SEED + 1);
        textWindow(painter, part(0.30, 0.58, 0.40, 0.38), u"Terminal"_s, QColor(0x1e, 0x1e, 0x1e),
                   QColor(0xdd, 0xdd, 0xdd), SEED + 2);
        settingsWindow(painter, part(0.74, 0.60, 0.22, 0.34));
        if (!std::exchange(m_announced, true))
            QTimer::singleShot(0, this, [this] {
                if (write(m_ready, "ready\n", 6) != 6)
                    QGuiApplication::exit(1);
            });
    }

private:
    int m_ready;
    bool m_announced = false;
};

} // namespace

int main(int argc, char **argv) {
    QGuiApplication application(argc, argv);
    Scene scene(argc > 1 ? std::atoi(argv[1]) : STDOUT_FILENO);
    scene.setFlags(Qt::FramelessWindowHint | Qt::BypassWindowManagerHint);
    scene.setGeometry(QGuiApplication::primaryScreen()->geometry());
    scene.show();
    return QGuiApplication::exec();
}
