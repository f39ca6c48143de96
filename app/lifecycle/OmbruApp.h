// The application in the menu bar: the one that stays, with an icon and a panel. Main thread, with a graphical
// application.
#pragma once
#include "app/lifecycle/AppDelegate.h"
#include "app/lifecycle/AtWork.h"
#include "app/lifecycle/IconMenu.h"
#include "app/lifecycle/RunningHint.h"
#include "app/lifecycle/SessionEnd.h"
#include "app/panel/Panel.h"
#include "app/resident/Resident.h"
#include "base/OnceATurn.h"
#include "platform/MenuBarIcon.h"

namespace ombru {

class OmbruApp final : public Shell {
public:
    enum class Start {
        byOwner,
        withPanel, // open at once
        atLogin    // no window by itself
    };
    OmbruApp(const QString &socket, Start start);

    // The exit status, once its owner has ended it.
    Task<int> run();
    void interrupt();

    bool openPanel() override;
    bool startedAgain() override;

private:
    struct Look { // of the icon
        QString symbol;
        bool isMarked = false;
        QString tip;

        bool operator==(const Look &) const = default;
    };

    bool hasPlace() const;
    void patienceEnds();
    void hintClosed();
    void placeChanged(bool shown);
    void togglePanel(const QRect &icon);
    void open(const QRect &icon);
    void choose(IconMenuEntry::What what);
    void show();

    Resident m_resident;
    AppState &m_state;
    RunningHint m_hint{[this] { hintClosed(); }};
    AppDelegate m_delegate;
    Panel m_panel;
    MenuBarIcon m_icon;
    OnceATurn m_soon{[this] { show(); }};
    AtWork m_atWork{m_state, [this] { m_soon.ask(); }};
    Timer m_patience;
    QRect m_place;                     // of the icon, as last heard
    Look m_look;                       // as it is shown
    std::vector<IconMenuEntry> m_menu; // the same
    const Start m_start;
    bool m_opensAfterHint = false;
    bool m_ending = false;
    Subscription m_heard;
    SessionEnd m_sessionEnd{[this] { interrupt(); }};
};

} // namespace ombru
