// A desktop whose tray comes and goes as a test wants: who embeds icons, and a watcher of status items. Both are
// programs of their own.
#pragma once
#include "platform/MenuBarIcon.h"
#include "platform/linux/x11/Display.h"
#include "tests/support/StatusHost.h"

#include <QApplication>
#include <QMenu>
#include <QPainter>

#include <csignal>
#include <xcb/xtest.h>

namespace ombru::test {

class TrayTest : public ::testing::Test, protected StatusHost {
protected:
    TrayTest() {
        // Others on the same bus must have gone before a test begins.
        EXPECT_TRUE(waitUntil([this] { return !watcherItems().has_value(); }));
    }

    // --- Programs

    std::unique_ptr<Companion> embedder() const {
        return std::make_unique<Companion>(
            QByteArrayList{
                "bash", "-c",
                "echo started >&%fd; exec trayer --edge top --align right --widthtype pixel --width 100 --height 24"},
            "trayer");
    }
    // --- The icon

    MenuBarIcon::Receiver receiver() {
        return {[this](const QRect &place) { clicks.push_back(place); }, [this](int id) { chosen.push_back(id); },
                [this](bool shown) { places.push_back(shown); }};
    }
    std::unique_ptr<MenuBarIcon> shownIcon() {
        auto icon = std::make_unique<MenuBarIcon>(receiver());
        icon->show(picture(Qt::red), QStringLiteral("a tip"));
        return icon;
    }
    static QIcon picture(Qt::GlobalColor colour) {
        QPixmap pixmap(64, 64);
        pixmap.fill(colour);
        return pixmap;
    }

    // Where it is embedded; empty when it is not, or has not arrived there yet.
    QRect embeddedAt() const {
        for (const auto *widget : QApplication::topLevelWidgets()) {
            if (widget->objectName() != QStringLiteral("QSystemTrayIconSys") || !widget->isVisible())
                continue;
            const QRect told(widget->mapToGlobal(QPoint()), widget->size());
            return told.topLeft() == cornerOf(xcb_window_t(widget->winId())) ? told : QRect();
        }
        return {};
    }
    QPoint cornerOf(xcb_window_t window) const {
        const Reply<xcb_translate_coordinates_reply_t> place(xcb_translate_coordinates_reply(
            connection(), xcb_translate_coordinates(connection(), window, display.screen().root, 0, 0), nullptr));
        return place ? QPoint(place->dst_x, place->dst_y) : QPoint(-1, -1);
    }
    bool isEmbedded() const {
        return waitUntil([this] { return showsAt(embeddedAt(), 0xff0000); });
    }

    // --- The desktop

    bool showsAt(const QRect &place, std::uint32_t colour) const {
        if (place.isEmpty())
            return false;
        const Reply<xcb_get_image_reply_t> image(xcb_get_image_reply(
            connection(),
            xcb_get_image(connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, display.screen().root,
                          std::int16_t(place.center().x()), std::int16_t(place.center().y()), 1, 1, ~0U),
            nullptr));
        if (!image || xcb_get_image_data_length(image.get()) < 4)
            return false;
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, xcb_get_image_data(image.get()), sizeof pixel);
        return (pixel & 0xffffff) == colour;
    }
    void click(QPoint place, std::uint8_t button = 1) const {
        xcb_test_fake_input(connection(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, display.screen().root,
                            std::int16_t(place.x()), std::int16_t(place.y()), 0);
        xcb_test_fake_input(connection(), XCB_BUTTON_PRESS, button, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_test_fake_input(connection(), XCB_BUTTON_RELEASE, button, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_flush(connection());
    }

    xcb_connection_t *connection() const { return display.connection(); }
    Display display = std::move(*Display::open());
    std::vector<QRect> clicks;
    std::vector<int> chosen;
    std::vector<bool> places;
};

} // namespace ombru::test
