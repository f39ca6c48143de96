// What applications and System Events do when told to.
#include "applescript/run/DesktopModel.h"
#include "applescript/run/Need.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

#include <QRect>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

std::optional<Modifier> modifierNamed(QString name) {
    if (name.endsWith(u" down"))
        name.chop(5);
    if (name == u"command")
        return Modifier::command;
    if (name == u"shift")
        return Modifier::shift;
    if (name == u"option")
        return Modifier::option;
    if (name == u"control")
        return Modifier::control;
    return std::nullopt;
}

std::vector<Value> items(const Value &value) {
    const auto *list = value.as<ListPtr>();
    return list ? (*list)->items : std::vector<Value>{value};
}

} // namespace

Value DesktopModel::applicationCommand(const Event &event) {
    const QString &name = event.command;
    if (m_systemEvents)
        return inputCommand(event);
    if (name == u"activate" || name == u"reopen") {
        need(m_host.applications().activate(m_application.id));
        return {};
    }
    if (name == u"launch" || name == u"run") {
        need(m_host.applications().launch(m_application.id));
        return {};
    }
    if (name == u"quit") {
        need(m_host.applications().quit(m_application.id));
        return {};
    }
    if (name == u"open" && !event.direct.isNothing()) {
        QStringList paths;
        for (const auto &item : items(event.direct)) {
            const Value file = m_interpreter.follow(item);
            const auto *place = file.as<FileReference>();
            paths.append(place ? place->path : fromColonPath(toText(file, m_interpreter.rules())));
        }
        need(m_host.applications().open(m_application.id, paths));
        return {};
    }
    if (name == u"close" && event.direct.is<SpecifierPtr>())
        return close(event);
    throw ScriptError{
        error::NOT_UNDERSTOOD,
        u"%1 doesn’t understand the “%2” message."_s.arg(
            event.direct.isNothing() ? formatSource(applicationValue(m_application)) : formatSource(event.direct),
            name)};
}

Value DesktopModel::inputCommand(const Event &event) {
    const QString &name = event.command;
    if (name == u"keystroke")
        keystroke(event);
    else if (name == u"key code")
        keyCode(event);
    else if (name == u"key down" || name == u"key up")
        holdKeys(event);
    else if (name == u"click" || name == u"double click" || name == u"right click")
        return click(event);
    else if (name == u"perform")
        return performAction(event);
    else if (name == u"activate" || name == u"launch" || name == u"run" || name == u"quit")
        return {}; // it is always there, and never in front
    else
        throw ScriptError{
            error::NOT_UNDERSTOOD,
            u"%1 doesn’t understand the “%2” message."_s.arg(
                formatSource(event.direct.isNothing() ? applicationValue(m_application) : event.direct), name)};
    return {};
}

Modifiers DesktopModel::modifiers(const Event &event) {
    Modifiers held = 0;
    const Value *with = event.parameter(u"using");
    if (!with)
        return held;
    for (const auto &item : items(*with)) {
        const auto *constant = item.as<Constant>();
        const auto modifier = constant ? modifierNamed(constant->name) : std::nullopt;
        if (!modifier)
            failCoercion(item, u"constant"_s);
        held |= int(*modifier);
    }
    return held;
}

QPoint DesktopModel::point(const Value &value) {
    const auto parts = items(value);
    if (parts.size() != 2)
        failCoercion(value, u"point"_s);
    const auto &rules = m_interpreter.rules();
    return {int(toInteger(m_interpreter.follow(parts[0]), rules)),
            int(toInteger(m_interpreter.follow(parts[1]), rules))};
}

void DesktopModel::keystroke(const Event &event) {
    if (event.direct.isNothing())
        throw ScriptError{error::MISSING_PARAMETER, u"The direct parameter is missing for keystroke."_s};
    need(need(m_host.input())->type(toText(event.direct, m_interpreter.rules()), modifiers(event)));
}

void DesktopModel::keyCode(const Event &event) {
    const Modifiers held = modifiers(event);
    if (event.direct.isNothing())
        throw ScriptError{error::MISSING_PARAMETER, u"The direct parameter is missing for key code."_s};
    for (const auto &code : items(event.direct))
        need(need(m_host.input())->pressKey(int(toInteger(m_interpreter.follow(code), m_interpreter.rules())), held));
}

void DesktopModel::holdKeys(const Event &event) {
    const bool down = event.command == u"key down";
    if (event.direct.isNothing())
        throw ScriptError{error::MISSING_PARAMETER, u"The direct parameter is missing for %1."_s.arg(event.command)};
    for (const auto &key : items(event.direct)) {
        const auto *constant = key.as<Constant>();
        if (const auto modifier = constant ? modifierNamed(constant->name) : std::nullopt)
            need(need(m_host.input())->holdModifier(*modifier, down));
        else if (key.isNumber())
            need(need(m_host.input())->holdKey(int(toInteger(key, m_interpreter.rules())), down));
        else if (down)
            need(need(m_host.input())
                     ->type(toText(key, m_interpreter.rules()), 0)); // a letter is pressed and let go at once
    }
}

Value DesktopModel::click(const Event &event) {
    const Value *at = event.parameter(u"at");
    Modifiers held = modifiers(event);
    QPoint where;
    if (at) {
        where = point(*at);
    } else {
        const Object object = single(event.direct);
        if (object.kind != Object::Kind::window)
            throw ScriptError{error::NOT_UNDERSTOOD, u"%1 doesn’t understand the “%2” message."_s.arg(
                                                         formatSource(event.direct), event.command)};
        where = QRect(object.window.position, object.window.size).center();
    }
    auto kind = event.command == u"double click"  ? Click::twice
                : event.command == u"right click" ? Click::right
                                                  : Click::single;
    if (kind == Click::single && held == int(Modifier::control)) { // how a right click is written with one button
        kind = Click::right;
        held = 0;
    }
    need(need(m_host.input())->click(where, kind, held));
    return {};
}

Value DesktopModel::performAction(const Event &event) {
    const Object object = single(event.direct);
    if (object.kind != Object::Kind::action)
        throw ScriptError{error::NOT_UNDERSTOOD,
                          u"%1 doesn’t understand the “perform” message."_s.arg(formatSource(event.direct))};
    need(need(m_host.windows())->raiseWindow(object.window.handle));
    return event.direct;
}

Value DesktopModel::close(const Event &event) {
    for (const auto &object : resolve(**event.direct.as<SpecifierPtr>())) {
        if (object.kind == Object::Kind::window)
            need(need(m_host.windows())->closeWindow(object.window.handle));
    }
    return {};
}

} // namespace ombru::applescript
