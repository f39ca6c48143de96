// The icon as an item of the desktop's status notifier: registered wherever the session bus has a watcher for items,
// and the watcher a host that shows them. Both may come late, go away and come back. Main thread, with a graphical
// application.
#pragma once
#include "platform/linux/services/LastingBus.h"
#include "platform/linux/tray/StatusItem.h"
#include "platform/linux/tray/StatusMenu.h"

#include <QDBusServiceWatcher>

namespace ombru {

class StatusNotifier {
public:
    enum class Host { unknown, none, present };
    struct Receiver {
        std::function<void(Host)> onHost; // each time it has been looked for
        StatusItem::Receiver item;
        std::function<void(int id)> onEntry; // as StatusMenu has it
    };

    explicit StatusNotifier(Receiver receiver);

    void show(const QIcon &image, const QString &tip); // also looks again for a bus that had gone
    void setMenu(const std::vector<MenuBarIcon::Entry> &entries) { m_menu.set(entries); }
    Host host() const { return m_host; }

private:
    void serve();
    void ask();
    void registerItem(const QString &watcher);
    void tell(Host host);

    const std::function<void(Host)> m_onHost;
    StatusItem m_item;
    StatusMenu m_menu;
    Host m_host = Host::unknown;
    QString m_registeredAt; // the watcher's unique name
    int m_questions = 0;    // asked so far; only the last one's answer counts
    QTimer m_hostsChanged;
    std::unique_ptr<QDBusServiceWatcher> m_watcher;
    LastingBus m_bus;
};

} // namespace ombru
