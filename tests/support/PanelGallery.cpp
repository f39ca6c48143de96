// ombru-panel-gallery DIRECTORY: pictures of the panel in each of its rows below the icon in a real menu bar, light,
// dark and in letters twice as large, as PNG files there, and a sheet of the icon at each size. For docs/pictures, and
// for whoever changes how they look: tests/support/private-desktop run sh -c "trayer --edge top --align right --height
// 24 --SetPartialStrut true & exec ombru-panel-gallery DIRECTORY".
#include "app/panel/MenuPanel.h"
#include "app/panel/Symbol.h"
#include "controller/MenuBarSymbol.h"
#include "platform/MenuBarIcon.h"
#include "tests/support/DarkPalette.h"
#include "tests/support/LargeLetters.h"
#include "tests/support/PanelScenes.h"

#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QPainter>
#include <QScreen>
#include <QTimer>

#include <cstdio>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

QString symbolOf(const PanelState &state) {
    return menuBarSymbol({.inCall = !state.activeCalls.isEmpty(),
                          .busy = state.busy,
                          .signedIn = state.auth.is<Auth::SignedIn>(),
                          .reachable = state.agentConnected,
                          .listening = state.serverListening,
                          .missingPermissions = state.setup != Setup::done});
}

// Where the host has embedded the icon.
QRect embeddedIcon() {
    for (const auto *widget : QApplication::topLevelWidgets())
        if (widget->objectName() == u"QSystemTrayIconSys" && widget->isVisible())
            return {widget->mapToGlobal(QPoint()), widget->size()};
    return {};
}

// What is on the screen a moment after the last change.
void pause() {
    QEventLoop loop;
    QTimer::singleShot(400, &loop, &QEventLoop::quit);
    loop.exec();
}

bool drawPanels(const QDir &directory, const QString &scheme) {
    constexpr int AROUND = 8;
    for (const auto &[name, state] : test::panelScenes()) {
        MenuBarIcon icon({.onClick = [](const QRect &) {}, .onEntry = [](int) {}, .onPlace = [](bool) {}});
        icon.show(symbolForBar(symbolOf(state), state.busy), u"ombru"_s);
        pause();
        const auto place = embeddedIcon();
        if (place.isEmpty())
            return false;
        MenuPanel panel({.onAction = [](const PanelAction &) {}, .onOpen = [](bool) {}});
        panel.show(panelContent(state));
        panel.open(place);
        pause();
        const auto seen =
            panel.frameGeometry().united(place).adjusted(-AROUND, -AROUND, AROUND, AROUND) & panel.screen()->geometry();
        panel.screen()
            ->grabWindow(0, seen.x(), seen.y(), seen.width(), seen.height())
            .save(directory.filePath(u"panel-%1-%2.png"_s.arg(name, scheme)));
    }
    return true;
}

void drawIcons(const QDir &directory) {
    const QStringList names{u"phone.down"_s, u"phone"_s, u"phone.badge.exclamationmark"_s, u"phone.fill"_s,
                            u"phone.connection.fill"_s};
    constexpr std::array SIZES{16, 22, 32, 64};
    constexpr int CELL = 80;
    QPixmap sheet(CELL * int(SIZES.size()) * 2, CELL * int(names.size() + 1));
    QPainter painter(&sheet);
    for (int row = 0; row <= names.size(); ++row) {
        for (int column = 0; column < int(SIZES.size()) * 2; ++column) {
            const int size = SIZES[std::size_t(column) % SIZES.size()];
            const QRect cell(column * CELL, row * CELL, CELL, CELL);
            painter.fillRect(cell, column < int(SIZES.size()) ? QColor(0xf0f0f0) : QColor(0x1e1e1e));
            const auto icon = symbolForBar(names.value(row, u"phone"_s), row == names.size());
            painter.drawPixmap(cell.center() - QPoint(size / 2, size / 2), icon.pixmap(size));
        }
    }
    painter.end();
    sheet.save(directory.filePath(u"icons.png"_s));
}

} // namespace

int main(int argc, char **argv) {
    QApplication application(argc, argv);
    if (argc != 2 || !QDir().mkpath(QString::fromLocal8Bit(argv[1]))) {
        std::fputs("ombru-panel-gallery DIRECTORY\n", stderr);
        return 2;
    }
    const QDir directory(QString::fromLocal8Bit(argv[1]));
    drawIcons(directory);
    const bool isLightDone = drawPanels(directory, u"light"_s);
    const auto letters = QApplication::font();
    QApplication::setFont(test::twiceAsLarge(letters));
    const bool isLargeDone = drawPanels(directory, u"large"_s);
    QApplication::setFont(letters);
    QApplication::setPalette(test::darkPalette());
    if (isLightDone && isLargeDone && drawPanels(directory, u"dark"_s))
        return 0;
    std::fputs("ombru-panel-gallery: no host has embedded the icon\n", stderr);
    return 1;
}
