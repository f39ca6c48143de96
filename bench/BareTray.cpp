// The least program of the same toolkit with an icon in the menu bar: a click shows a small window, another hides it.
#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QScreen>
#include <QSystemTrayIcon>

int main(int argc, char **argv) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QLabel window(QStringLiteral("nothing"));
    window.setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    const auto free = QGuiApplication::primaryScreen()->availableGeometry();
    constexpr int WIDTH = 320; // as ours
    window.setGeometry(free.right() + 1 - WIDTH - 8, free.top() + 8, WIDTH, 200);
    QMenu menu;
    menu.addAction(QStringLiteral("Quit"), &application, &QCoreApplication::quit);
    QPixmap picture(64, 64);
    picture.fill(Qt::gray);
    QSystemTrayIcon icon(picture);
    icon.setContextMenu(&menu);
    QObject::connect(&icon, &QSystemTrayIcon::activated, &window,
                     [&window] { window.setVisible(!window.isVisible()); });
    icon.show();
    return QApplication::exec();
}
