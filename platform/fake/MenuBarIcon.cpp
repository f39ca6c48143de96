#include "platform/fake/FakeMenuBar.h"

namespace ombru {

FakeMenuBar &FakeMenuBar::instance() {
    static FakeMenuBar bar;
    return bar;
}

class MenuBarIcon::Desk {};

MenuBarIcon::MenuBarIcon(Receiver receiver) {
    auto &bar = FakeMenuBar::instance();
    bar.receiver = std::move(receiver);
    ++bar.icons;
}

MenuBarIcon::~MenuBarIcon() {
    auto &bar = FakeMenuBar::instance();
    bar.receiver = {};
    --bar.icons;
}

void MenuBarIcon::show(const QIcon &image, const QString &tip) {
    auto &bar = FakeMenuBar::instance();
    bar.image = image;
    bar.tip = tip;
    ++bar.shows;
}

void MenuBarIcon::setMenu(const std::vector<Entry> &entries) {
    FakeMenuBar::instance().menu = entries;
}

bool MenuBarIcon::isShown() const {
    const auto &bar = FakeMenuBar::instance();
    return bar.hasPlace && bar.shows > 0;
}

} // namespace ombru
