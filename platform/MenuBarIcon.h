// The icon in the desktop's menu bar (its "tray"), and the menu behind it. It appears wherever the desktop has a place
// for it: at once, later, or again after the place went away and came back. Main thread, with a graphical application;
// nothing here waits for the desktop.
#pragma once
#include <QIcon>
#include <QRect>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace ombru {

class MenuBarIcon {
public:
    struct Entry {
        int id; // of the caller's choice, from 0; each once
        QString text;
        bool beginsGroup = false; // a line above it
        bool isEnabled = true;

        bool operator==(const Entry &) const = default;
    };

    // Each comes from the event loop, so that it may destroy the icon.
    struct Receiver {
        // Where it is on the screen, or where in it the click was; empty where the desktop does not tell.
        std::function<void(const QRect &icon)> onClick;
        std::function<void(int id)> onEntry;
        std::function<void(bool shown)> onPlace; // there is a place for it, or none any more
    };

    explicit MenuBarIcon(Receiver receiver);
    ~MenuBarIcon();
    MenuBarIcon(const MenuBarIcon &) = delete;
    MenuBarIcon &operator=(const MenuBarIcon &) = delete;

    void show(const QIcon &image, const QString &tip); // again and again; the image has sizes from 16 to 64
    void setMenu(const std::vector<Entry> &entries);
    bool isShown() const; // false before the first onPlace(true)

private:
    class Desk;
    std::unique_ptr<Desk> m_desk;
};

} // namespace ombru
