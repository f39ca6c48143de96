#include "app/lifecycle/IconMenu.h"

#include "base/Text.h"

#include <QCoreApplication>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LONGEST_TIP = 100; // characters

} // namespace

std::vector<IconMenuEntry> iconMenu(const PanelState &state) {
    using enum IconMenuEntry::What;
    const auto button = stopButton(state);
    const bool isCall = button && button->action.what == PanelAction::What::hangUp;
    std::vector<IconMenuEntry> entries;
    entries.push_back({isCall ? hangUp : stop, button ? button->text : stopText(), button && button->isEnabled});
    entries.push_back({openPanel, QCoreApplication::translate("IconMenu", "Open panel")});
    entries.push_back({openLogs, QCoreApplication::translate("IconMenu", "Show log")});
    entries.push_back({quit, u"Quit"_s});
    return entries;
}

QString iconTip(const PanelState &state) {
    return u"ombru: "_s + shownLine(statusLine(state).text, LONGEST_TIP);
}

} // namespace ombru
