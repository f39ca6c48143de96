#include "applescript/objects/systemevents/SystemEvents.h"

#include "applescript/objects/Arguments.h"
#include "applescript/objects/systemevents/Process.h"
#include "applescript/run/Need.h"
#include "applescript/values/Coercion.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

constexpr std::pair<QStringView, Modifier> MODIFIERS[] = {{u"command", Modifier::command},
                                                          {u"shift", Modifier::shift},
                                                          {u"option", Modifier::option},
                                                          {u"control", Modifier::control}};

std::optional<Modifier> modifierIn(const Value &value) {
    const auto *constant = value.as<Constant>();
    if (!constant)
        return std::nullopt;
    QStringView name = constant->name;
    if (name.endsWith(u" down"))
        name.chop(5);
    for (const auto &[known, modifier] : MODIFIERS) {
        if (name == known)
            return modifier;
    }
    return std::nullopt;
}

Modifiers modifiersOf(const Event &event) {
    Modifiers held = 0;
    const Value *with = event.parameter(u"using");
    if (!with)
        return held;
    for (const auto &item : itemsOf(*with)) {
        const auto modifier = modifierIn(item);
        if (!modifier)
            failCoercion(item, u"constant"_s);
        held |= int(*modifier);
    }
    return held;
}

void needDirect(const Event &event) {
    if (event.direct.isNothing())
        throw ScriptError{error::MISSING_PARAMETER, u"The direct parameter is missing for %1."_s.arg(event.command)};
}

} // namespace

ClassTable<SystemEvents> SystemEvents::table() {
    static constexpr PropertyRow<SystemEvents> PROPERTIES[] = {
        {u"frontmost", &SystemEvents::frontmost},
        {u"UI elements enabled", &SystemEvents::elementsEnabled},
    };
    static constexpr ElementRow<SystemEvents> ELEMENTS[] = {
        {u"process", &SystemEvents::everyProcess, &SystemEvents::processOfApplication},
        {u"application process", &SystemEvents::everyProcess, &SystemEvents::processOfApplication},
    };
    return {PROPERTIES, ELEMENTS};
}

std::span<const CommandRow<SystemEvents>> SystemEvents::commands() {
    using enum CommandTerm::Direct;
    static constexpr QStringView HELD =
        u"using=command down,shift down,option down,control down,command,shift,option,control";
    static constexpr QStringView AT =
        u"at|using=command down,shift down,option down,control down,command,shift,option,control";
    static constexpr QStringView KEYS = u"command|shift|option|control";
    static constexpr CommandRow<SystemEvents> COMMANDS[] = {
        {{.name = u"keystroke", .direct = expression, .parameters = HELD}, &SystemEvents::keystroke},
        {{.name = u"key code", .direct = expression, .parameters = HELD}, &SystemEvents::keyCode},
        {{.name = u"key down", .direct = expression, .directConstants = KEYS}, &SystemEvents::holdKeys},
        {{.name = u"key up", .direct = expression, .directConstants = KEYS}, &SystemEvents::holdKeys},
        {{.name = u"click", .direct = object, .parameters = AT, .describes = true}, &SystemEvents::click},
        {{.name = u"double click", .direct = object, .parameters = AT}, &SystemEvents::click},
        {{.name = u"right click", .direct = object, .parameters = AT}, &SystemEvents::click},
        {{.name = u"perform", .direct = object, .describes = true}, &SystemEvents::performAction},
        {{.name = u"cancel", .direct = object}},
        {{.name = u"confirm", .direct = object}},
        {{.name = u"increment", .direct = object}},
        {{.name = u"decrement", .direct = object}},
        {{.name = u"pick", .direct = object}},
    };
    return COMMANDS;
}

Value SystemEvents::command(const Event &event) {
    if (const auto *row = commandNamed(commands(), event.command))
        return (this->*row->run)(event);
    static constexpr QStringView NEEDLESS[] = {u"activate", u"launch", u"run", u"quit"};
    if (std::ranges::find(NEEDLESS, event.command) != std::end(NEEDLESS))
        return {}; // it is always there, and never in front
    failNotUnderstood(event.direct.isNothing() ? reference() : event.direct, event.command);
}

Held<Input> SystemEvents::input() const {
    return need(context().host().input());
}

// ---- Processes

Objects SystemEvents::everyProcess() {
    Objects all;
    for (const auto &process : processes())
        all.push_back(std::make_shared<Process>(*this, process));
    return all;
}

// A process by another name of its application: "TextEdit" is what scripts call the text editor.
ObjectPtr SystemEvents::processOfApplication(const Value &name) {
    const auto application = context().host().applications().applicationNamed(toText(name, context().rules()));
    for (const auto &process : processes()) {
        if (application && process.id == application->id)
            return std::make_shared<Process>(*this, process);
    }
    return nullptr;
}

// ---- Input

Value SystemEvents::keystroke(const Event &event) {
    needDirect(event);
    const QString text = toText(event.direct, context().rules());
    const Modifiers held = modifiersOf(event);
    need(input()->type(text, held));
    return {};
}

Value SystemEvents::keyCode(const Event &event) {
    const Modifiers held = modifiersOf(event);
    needDirect(event);
    for (const auto &code : itemsOf(event.direct)) {
        const auto number = toInteger(context().follow(code), context().rules());
        need(input()->pressKey(int(number), held));
    }
    return {};
}

Value SystemEvents::holdKeys(const Event &event) {
    const bool down = event.command == u"key down";
    needDirect(event);
    for (const auto &key : itemsOf(event.direct)) {
        if (const auto modifier = modifierIn(key)) {
            need(input()->holdModifier(*modifier, down));
        } else if (key.isNumber()) {
            const auto code = toInteger(key, context().rules());
            need(input()->holdKey(int(code), down));
        } else if (down) {
            const QString letter = toText(key, context().rules());
            need(input()->type(letter, 0)); // it is pressed and let go at once
        }
    }
    return {};
}

Value SystemEvents::click(const Event &event) {
    const Value *at = event.parameter(u"at");
    Modifiers held = modifiersOf(event);
    const auto where = at ? pointOf(*at, context()) : single(event.direct)->middle();
    if (!where)
        failNotUnderstood(event.direct, event.command);
    auto kind = event.command == u"double click"  ? Click::twice
                : event.command == u"right click" ? Click::right
                                                  : Click::single;
    if (kind == Click::single && held == int(Modifier::control)) { // how a right click is written with one button
        kind = Click::right;
        held = 0;
    }
    need(input()->click(*where, kind, held));
    return {};
}

Value SystemEvents::performAction(const Event &event) {
    if (!single(event.direct)->perform())
        failNotUnderstood(event.direct, event.command);
    return event.direct;
}

} // namespace ombru::applescript
