// What a script puts before its owner: dialogs, alerts, notifications, a beep.
#include "applescript/additions/Addition.h"
#include "applescript/run/Need.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

// A button is given by number or name.
int buttonIndex(const Value &value, const QStringList &buttons, const TextRules &rules) {
    if (value.is<qint64>())
        return int(toInteger(value, rules)) - 1;
    return int(buttons.indexOf(toText(value, rules)));
}

// An icon is given by name or number; any other is a caution.
DialogRequest::Icon iconOf(const Value &value) {
    using enum DialogRequest::Icon;
    const QString kind = formatPlain(value);
    if (kind == u"stop" || kind == u"critical" || kind == u"0")
        return stop;
    if (kind == u"note" || kind == u"informational" || kind == u"1")
        return note;
    return caution;
}

Value dialogReply(const DialogRequest &request, const DialogAnswer &answer) {
    std::vector<std::pair<Name, Value>> fields;
    fields.emplace_back(Name(u"button returned"_s), request.buttons.value(answer.button));
    if (request.defaultText)
        fields.emplace_back(Name(u"text returned"_s), answer.text);
    if (request.givingUpAfter > 0)
        fields.emplace_back(Name(u"gave up"_s), answer.gaveUp);
    return Value::record(std::move(fields));
}

void chooseButtons(const Invocation &command, DialogRequest &request) {
    const bool alert = request.kind == DialogRequest::Kind::alert;
    if (const auto buttons = command.parameter(u"buttons")) {
        const Value list = coerce(*buttons, u"list"_s, command.rules());
        for (const auto &button : (*list.as<ListPtr>())->items)
            request.buttons.append(toText(command.context().follow(button), command.rules()));
    }
    if (request.buttons.isEmpty()) {
        request.buttons = alert ? QStringList{u"OK"_s} : QStringList{u"Cancel"_s, u"OK"_s};
        request.defaultButton = int(request.buttons.size()) - 1;
    }
    request.cancelButton = alert ? -1 : int(request.buttons.indexOf(u"Cancel"_s));
    if (const auto button = command.parameter(u"default button"))
        request.defaultButton = buttonIndex(*button, request.buttons, command.rules());
    if (const auto button = command.parameter(u"cancel button"))
        request.cancelButton = buttonIndex(*button, request.buttons, command.rules());
    if (request.defaultButton >= request.buttons.size() || request.cancelButton >= request.buttons.size())
        throw ScriptError{error::BAD_PARAMETER, u"Parameter error."_s};
}

Value ask(const Invocation &command, DialogRequest::Kind kind, QStringView icons) {
    DialogRequest request;
    request.kind = kind;
    request.text = toText(command.direct(), command.rules());
    request.message = command.text(u"message");
    request.title = command.text(u"with title");
    chooseButtons(command, request);
    if (const auto answer = command.parameter(u"default answer"))
        request.defaultText = toText(*answer, command.rules());
    request.hiddenText = command.flag(u"hidden answer", false);
    if (const auto seconds = command.parameter(u"giving up after"))
        request.givingUpAfter = toNumber(*seconds, command.rules());
    if (const auto icon = command.parameter(icons))
        request.icon = iconOf(*icon);
    const DialogAnswer answer = need(command.host().dialogs().ask(request));
    if (!answer.gaveUp && (answer.button < 0 || answer.button == request.cancelButton))
        throw ScriptError{error::CANCELED, u"User canceled."_s};
    return dialogReply(request, answer);
}

Value displayDialog(const Invocation &command) {
    return ask(command, DialogRequest::Kind::dialog, u"with icon");
}

Value displayAlert(const Invocation &command) {
    return ask(command, DialogRequest::Kind::alert, u"as");
}

Value displayNotification(const Invocation &command) {
    NotificationRequest request;
    request.text = command.hasDirect() ? toText(command.direct(), command.rules()) : QString();
    request.title = command.text(u"with title");
    request.subtitle = command.text(u"subtitle");
    request.sound = command.text(u"sound name");
    need(need(command.host().notifications())->show(request));
    return {};
}

// Succeeds in silence: a desktop has no alert sound that every one would play. Its number is read, so that a wrong one
// is an error here too.
Value beep(const Invocation &command) {
    if (command.hasDirect())
        toInteger(command.direct(), command.rules());
    return {};
}

using enum CommandTerm::Direct;

constexpr Addition COMMANDS[] = {
    {{.name = u"display dialog",
      .direct = expression,
      .parameters = u"default answer|buttons|default button|cancel button|with title|with icon=note,caution,stop"
                    u"|giving up after|hidden answer",
      .flags = u"hidden answer"},
     &displayDialog},
    {{.name = u"display alert",
      .direct = expression,
      .parameters = u"message|as=critical,warning,informational|buttons|default button|cancel button|giving up after"},
     &displayAlert},
    {{.name = u"display notification", .direct = expression, .parameters = u"with title|subtitle|sound name"},
     &displayNotification},
    {{.name = u"beep", .direct = expression}, &beep},
};

} // namespace

Suite dialogAdditions() {
    return {COMMANDS, u"button returned|text returned|gave up"};
}

} // namespace ombru::applescript
