#include "platform/linux/tray/StatusMenu.h"

#include "platform/linux/tray/MenuWire.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr uint VERSION = 3; // of the protocol
constexpr int ROOT = 0;

ServedObject::Interface interface() {
    return {u"com.canonical.dbusmenu"_s,
            u"/MenuBar"_s,
            {{u"GetLayout"_s, u"iias"_s},
             {u"GetGroupProperties"_s, u"aias"_s},
             {u"GetProperty"_s, u"is"_s},
             {u"Event"_s, u"isvu"_s},
             {u"EventGroup"_s, u"a(isvu)"_s},
             {u"AboutToShow"_s, u"i"_s},
             {u"AboutToShowGroup"_s, u"ai"_s}},
            uR"xml(
<property name="Version" type="u" access="read"/>
<property name="TextDirection" type="s" access="read"/>
<property name="Status" type="s" access="read"/>
<property name="IconThemePath" type="as" access="read"/>
<method name="GetLayout"><arg name="parentId" type="i" direction="in"/><arg name="recursionDepth" type="i" direction="in"/>
<arg name="propertyNames" type="as" direction="in"/><arg name="revision" type="u" direction="out"/>
<arg name="layout" type="(ia{sv}av)" direction="out"/></method>
<method name="GetGroupProperties"><arg name="ids" type="ai" direction="in"/>
<arg name="propertyNames" type="as" direction="in"/><arg name="properties" type="a(ia{sv})" direction="out"/></method>
<method name="GetProperty"><arg name="id" type="i" direction="in"/><arg name="name" type="s" direction="in"/>
<arg name="value" type="v" direction="out"/></method>
<method name="Event"><arg name="id" type="i" direction="in"/><arg name="eventId" type="s" direction="in"/>
<arg name="data" type="v" direction="in"/><arg name="timestamp" type="u" direction="in"/></method>
<method name="EventGroup"><arg name="events" type="a(isvu)" direction="in"/>
<arg name="idErrors" type="ai" direction="out"/></method>
<method name="AboutToShow"><arg name="id" type="i" direction="in"/><arg name="needUpdate" type="b" direction="out"/></method>
<method name="AboutToShowGroup"><arg name="ids" type="ai" direction="in"/>
<arg name="updatesNeeded" type="ai" direction="out"/><arg name="idErrors" type="ai" direction="out"/></method>
<signal name="ItemsPropertiesUpdated"><arg name="updatedProps" type="a(ia{sv})"/>
<arg name="removedProps" type="a(ias)"/></signal>
<signal name="LayoutUpdated"><arg name="revision" type="u"/><arg name="parent" type="i"/></signal>
)xml"_s};
}

// An underscore marks a letter there.
QString label(QString text) {
    return text.replace(u'_', u"__"_s);
}

} // namespace

StatusMenu::StatusMenu(std::function<void(int)> onEntry) : ServedObject(interface()), m_onEntry(std::move(onEntry)) {
    registerMenuTypes();
}

void StatusMenu::set(const std::vector<MenuBarIcon::Entry> &entries) {
    m_items.clear();
    for (const auto &entry : entries) {
        const int number = 2 * entry.id + 1;
        if (entry.beginsGroup)
            m_items.push_back({number + 1, {{u"type"_s, u"separator"_s}, {u"visible"_s, true}}, {}});
        m_items.push_back({number,
                           {{u"label"_s, label(entry.text)}, {u"enabled"_s, entry.isEnabled}, {u"visible"_s, true}},
                           entry.id});
    }
    tell(u"LayoutUpdated"_s, {++m_revision, ROOT});
    tell(u"ItemsPropertiesUpdated"_s, {described({}), QVariant::fromValue(QList<MenuNoProperties>())});
}

QVariantMap StatusMenu::properties() const {
    return {{u"Version"_s, VERSION},
            {u"TextDirection"_s, u"ltr"_s},
            {u"Status"_s, u"normal"_s},
            {u"IconThemePath"_s, QStringList()}};
}

QVariantList StatusMenu::answer(const QString &method, const QVariantList &arguments) {
    if (method == "GetLayout"_L1)
        return layout(arguments[0].toInt());
    if (method == "GetGroupProperties"_L1)
        return {described(qdbus_cast<QList<int>>(arguments[0]))};
    if (method == "GetProperty"_L1) {
        const auto *item = find(arguments[0].toInt());
        const auto value = item ? item->properties.value(arguments[1].toString()) : QVariant();
        return {QVariant::fromValue(QDBusVariant(value.isValid() ? value : QString()))};
    }
    if (method == "Event"_L1)
        note(arguments[0].toInt(), arguments[1].toString());
    if (method == "EventGroup"_L1)
        return {QVariant::fromValue(noteAll(arguments[0]))};
    if (method == "AboutToShow"_L1)
        return {false};
    if (method == "AboutToShowGroup"_L1)
        return {QVariant::fromValue(QList<int>()), QVariant::fromValue(QList<int>())};
    return {};
}

// One level is all there is. Whoever asks for fewer properties or levels gets these, too.
QVariantList StatusMenu::layout(int parent) const {
    MenuLayout layout{parent, {}, {}};
    if (const auto *item = find(parent))
        layout.properties = item->properties;
    if (parent == ROOT) {
        layout.properties = {{u"children-display"_s, u"submenu"_s}};
        for (const auto &item : m_items)
            layout.children.append(QDBusVariant(QVariant::fromValue(MenuLayout{item.id, item.properties, {}})));
    }
    return {m_revision, QVariant::fromValue(layout)};
}

QVariant StatusMenu::described(const QList<int> &items) const {
    QList<MenuProperties> properties;
    for (const auto &item : m_items) {
        if (items.isEmpty() || items.contains(item.id))
            properties.append({item.id, item.properties});
    }
    return QVariant::fromValue(properties);
}

const StatusMenu::Item *StatusMenu::find(int item) const {
    const auto found = std::ranges::find(m_items, item, &Item::id);
    return found == m_items.end() ? nullptr : &*found;
}

// What the host still shows may be there no more. Whether it is.
bool StatusMenu::note(int item, const QString &event) {
    const auto *chosen = find(item);
    if (chosen && chosen->entry && event == "clicked"_L1 && chosen->properties[u"enabled"_s].toBool())
        m_onEntry(*chosen->entry);
    return chosen || item == ROOT;
}

QList<int> StatusMenu::noteAll(const QVariant &events) {
    QList<int> unknown;
    for (const auto &event : qdbus_cast<QList<MenuEvent>>(events)) {
        if (!note(event.id, event.event))
            unknown.append(event.id);
    }
    return unknown;
}

} // namespace ombru
