#include "platform/linux/tray/StatusItem.h"

#include "platform/linux/tray/StatusPixmaps.h"

#include <QDBusMetaType>
#include <QDBusObjectPath>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

ServedObject::Interface interface() {
    return {u"org.kde.StatusNotifierItem"_s,
            u"/StatusNotifierItem"_s,
            {{u"Activate"_s, u"ii"_s},
             {u"SecondaryActivate"_s, u"ii"_s},
             {u"ContextMenu"_s, u"ii"_s},
             {u"Scroll"_s, u"is"_s},
             {u"ProvideXdgActivationToken"_s, u"s"_s}},
            uR"xml(
<property name="Category" type="s" access="read"/>
<property name="Id" type="s" access="read"/>
<property name="Title" type="s" access="read"/>
<property name="Status" type="s" access="read"/>
<property name="IconName" type="s" access="read"/>
<property name="IconPixmap" type="a(iiay)" access="read"/>
<property name="ToolTip" type="(sa(iiay)ss)" access="read"/>
<property name="ItemIsMenu" type="b" access="read"/>
<property name="Menu" type="o" access="read"/>
<method name="Activate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
<method name="SecondaryActivate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
<method name="ContextMenu"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
<method name="Scroll"><arg name="delta" type="i" direction="in"/><arg name="orientation" type="s" direction="in"/></method>
<method name="ProvideXdgActivationToken"><arg name="token" type="s" direction="in"/></method>
<signal name="NewTitle"/>
<signal name="NewIcon"/>
<signal name="NewToolTip"/>
<signal name="NewStatus"><arg name="status" type="s"/></signal>
)xml"_s};
}

} // namespace

StatusItem::StatusItem(Receiver receiver) : ServedObject(interface()), m_receiver(std::move(receiver)) {
    qDBusRegisterMetaType<StatusPixmap>();
    qDBusRegisterMetaType<StatusPixmaps>();
    qDBusRegisterMetaType<StatusToolTip>();
}

void StatusItem::show(const QIcon &image, const QString &tip) {
    m_image = image;
    tell(u"NewIcon"_s);
    if (std::exchange(m_tip, tip) != tip)
        tell(u"NewToolTip"_s);
}

QVariantMap StatusItem::properties() const {
    return {{u"Category"_s, u"ApplicationStatus"_s},
            {u"Id"_s, u"ombru"_s},
            {u"Title"_s, u"ombru"_s},
            {u"Status"_s, u"Active"_s},
            {u"IconName"_s, QString()},
            {u"IconPixmap"_s, QVariant::fromValue(statusPixmaps(m_image))},
            {u"ToolTip"_s, QVariant::fromValue(StatusToolTip{{}, {}, m_tip, {}})},
            {u"ItemIsMenu"_s, false},
            {u"Menu"_s, QVariant::fromValue(QDBusObjectPath(u"/MenuBar"_s))}};
}

QVariantList StatusItem::answer(const QString &method, const QVariantList &arguments) {
    if (method == "Activate"_L1)
        m_receiver.onClick({arguments[0].toInt(), arguments[1].toInt()});
    if (method == "ContextMenu"_L1)
        m_receiver.onMenu({arguments[0].toInt(), arguments[1].toInt()});
    return {};
}

} // namespace ombru
