// The menu bar as a test scripts it: what is shown in it, and what its owner clicks. Apart from FakePlatform, because
// pictures of icons need a graphical application. Main thread.
#pragma once
#include "platform/MenuBarIcon.h"

namespace ombru {

struct FakeMenuBar {
    // Of the icon that is there; a click or a choice is told at once.
    MenuBarIcon::Receiver receiver;
    int icons = 0; // alive
    QIcon image;
    QString tip;
    int shows = 0; // how often show() was called
    std::vector<MenuBarIcon::Entry> menu;
    bool hasPlace = true;

    void setPlace(bool place) {
        hasPlace = place;
        receiver.onPlace(place);
    }

    static FakeMenuBar &instance();
    static void reset() { instance() = {}; }
};

} // namespace ombru
