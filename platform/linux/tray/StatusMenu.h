// The menu behind the icon as a host of status items shows it (com.canonical.dbusmenu, on the session bus). Main
// thread.
#pragma once
#include "platform/MenuBarIcon.h"
#include "platform/linux/tray/ServedObject.h"

namespace ombru {

class StatusMenu : public ServedObject {
public:
    // An entry that is in the menu and enabled has been chosen. Told while the bus waits for an answer: it must not
    // destroy this.
    explicit StatusMenu(std::function<void(int id)> onEntry);

    void set(const std::vector<MenuBarIcon::Entry> &entries);

private:
    struct Item {
        int id = 0; // of the host's; an entry keeps its own for good
        QVariantMap properties;
        std::optional<int> entry; // none: a line
    };

    QVariantMap properties() const override;
    QVariantList answer(const QString &method, const QVariantList &arguments) override;

    QVariantList layout(int parent) const;
    QVariant described(const QList<int> &items) const; // all of them, when none is named
    const Item *find(int item) const;
    bool note(int item, const QString &event);
    QList<int> noteAll(const QVariant &events);

    const std::function<void(int)> m_onEntry;
    std::vector<Item> m_items;
    uint m_revision = 1;
};

} // namespace ombru
