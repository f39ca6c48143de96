#include "platform/MenuBarIcon.h"

#include "base/Loop.h"
#include "platform/linux/tray/StatusNotifier.h"
#include "platform/linux/tray/TraySelection.h"

#include <QGuiApplication>
#include <QMenu>
#include <QSystemTrayIcon>

namespace ombru {

// Where a status notifier has a host, the icon is its item; else it is embedded by who embeds icons.
class MenuBarIcon::Desk {
public:
    explicit Desk(Receiver receiver)
        : m_receiver(std::make_shared<Receiver>(std::move(receiver))), m_selection([this] { choose(); }),
          m_notifier({[this](StatusNotifier::Host) { choose(); },
                      {[this](QPoint place) { tell(&Receiver::onClick, iconAt(place)); },
                       [this](QPoint place) { m_menu.popup(place); }},
                      [this](int id) { tell(&Receiver::onEntry, id); }}) {}

    void show(const QIcon &image, const QString &tip) {
        m_image = image;
        m_tip = tip;
        m_notifier.show(image, tip);
        if (m_embedded)
            dress();
    }

    void setMenu(const std::vector<Entry> &entries) {
        m_notifier.setMenu(entries);
        m_menu.clear();
        for (const auto &entry : entries)
            add(entry);
    }

    bool isShown() const { return m_isShown; }

private:
    void choose() {
        const auto host = m_notifier.host();
        if (host == StatusNotifier::Host::unknown)
            return;
        if (host == StatusNotifier::Host::none)
            settleKind();
        if (host == StatusNotifier::Host::present || !m_selection.hasHost())
            m_embedded.reset();
        else if (!m_embedded)
            embed();
        const bool shown = host == StatusNotifier::Host::present || m_embedded;
        if (std::exchange(m_isShown, shown) != shown)
            tell(&Receiver::onPlace, shown);
    }

    // Of an item only the host knows where it is. It tells where it was clicked, or nothing: the origin, say.
    static QRect iconAt(QPoint click) {
        const bool isTold = !click.isNull() && QGuiApplication::screenAt(click);
        return isTold ? QRect(click, QSize(1, 1)) : QRect();
    }

    // Qt decides once, for all icons of a process, whether they are items or embedded; items are ours. So the first one
    // is made as soon as there is no host for items.
    static void settleKind() {
        static bool isSettled = false;
        if (!std::exchange(isSettled, true))
            const QSystemTrayIcon first;
    }

    void embed() {
        m_embedded = std::make_unique<QSystemTrayIcon>();
        QObject::connect(m_embedded.get(), &QSystemTrayIcon::activated, m_embedded.get(),
                         [this](QSystemTrayIcon::ActivationReason reason) {
                             // Of two quick clicks each counts, as it does for an item.
                             if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                                 tell(&Receiver::onClick, m_embedded->geometry());
                         });
        m_embedded->setContextMenu(&m_menu);
        dress();
        m_embedded->show();
    }

    void dress() const {
        m_embedded->setIcon(m_image);
        m_embedded->setToolTip(m_tip);
    }

    // An ampersand marks a letter there.
    void add(const Entry &entry) {
        if (entry.beginsGroup)
            m_menu.addSeparator();
        auto *action = m_menu.addAction(QString(entry.text).replace(u'&', QStringLiteral("&&")));
        action->setEnabled(entry.isEnabled);
        QObject::connect(action, &QAction::triggered, action, [this, id = entry.id] { tell(&Receiver::onEntry, id); });
    }

    // From the event loop, since what is told may destroy this.
    template <class Argument>
    void tell(std::function<void(Argument)> Receiver::*what, std::decay_t<Argument> argument) const {
        Loop::main().post([weak = std::weak_ptr(m_receiver), what, argument] {
            if (const auto receiver = weak.lock(); receiver && (*receiver).*what)
                ((*receiver).*what)(argument);
        });
    }

    const std::shared_ptr<Receiver> m_receiver;
    QIcon m_image;
    QString m_tip;
    QMenu m_menu;
    bool m_isShown = false;
    TraySelection m_selection;
    StatusNotifier m_notifier;
    std::unique_ptr<QSystemTrayIcon> m_embedded;
};

MenuBarIcon::MenuBarIcon(Receiver receiver) : m_desk(std::make_unique<Desk>(std::move(receiver))) {}

MenuBarIcon::~MenuBarIcon() = default;

void MenuBarIcon::show(const QIcon &image, const QString &tip) {
    m_desk->show(image, tip);
}

void MenuBarIcon::setMenu(const std::vector<Entry> &entries) {
    m_desk->setMenu(entries);
}

bool MenuBarIcon::isShown() const {
    return m_desk->isShown();
}

} // namespace ombru
