// The icon as a host of status items asks for it (org.kde.StatusNotifierItem, on the session bus). Main thread, with a
// graphical application.
#pragma once
#include "platform/linux/tray/ServedObject.h"

#include <QIcon>
#include <QPoint>

#include <functional>

namespace ombru {

class StatusItem : public ServedObject {
public:
    // Told while the bus waits for an answer: they must not destroy this.
    struct Receiver {
        std::function<void(QPoint)> onClick; // where, as far as the host tells
        std::function<void(QPoint)> onMenu;  // the host has none of its own and says where
    };
    explicit StatusItem(Receiver receiver);

    void show(const QIcon &image, const QString &tip);

private:
    QVariantMap properties() const override;
    QVariantList answer(const QString &method, const QVariantList &arguments) override;

    const Receiver m_receiver;
    QIcon m_image;
    QString m_tip;
};

} // namespace ombru
