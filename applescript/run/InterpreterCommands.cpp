// The commands of the language itself and of Standard Additions.
#include "applescript/run/Interpreter.h"
#include "applescript/run/Need.h"
#include "applescript/run/Script.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

#include <cmath>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

// A button is given by number or name.
int buttonIndex(const Value &value, const QStringList &buttons, const TextRules &rules) {
    if (value.is<qint64>())
        return int(toInteger(value, rules)) - 1;
    return int(buttons.indexOf(toText(value, rules)));
}

// What a refused command would need, and what there is instead.
QString missingFor(const QString &command) {
    static const QString files = u"a script can’t ask for files; write their paths into it"_s;
    static const QString access = u"a script reads and writes files with do shell script"_s;
    static const QHash<QString, QString> missing = {
        {u"say"_s, u"it has no voice"_s},
        {u"choose from list"_s, u"it has no list dialog; display dialog asks with buttons or a text field"_s},
        {u"choose file"_s, files},
        {u"choose folder"_s, files},
        {u"choose file name"_s, files},
        {u"open for access"_s, access},
        {u"close access"_s, access},
        {u"get eof"_s, access},
        {u"read"_s, access},
        {u"write"_s, access},
        {u"system attribute"_s, u"a script reads the environment with do shell script"_s},
    };
    return missing.value(command);
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

} // namespace

std::optional<Value> Interpreter::parameter(const Command &command, QStringView label) {
    for (const auto &[name, value] : command.parameters) {
        if (name == label)
            return data(*value);
    }
    return std::nullopt;
}

bool Interpreter::flag(const Command &command, QStringView label, bool standard) {
    const auto value = parameter(command, label);
    return value ? toBoolean(*value, m_rules) : standard;
}

QString Interpreter::textParameter(const Command &command, QStringView label) {
    const auto value = parameter(command, label);
    return value ? toText(*value, m_rules) : QString();
}

Value Interpreter::direct(const Command &command) {
    if (!command.direct)
        throw ScriptError{error::MISSING_PARAMETER, u"The direct parameter is missing for %1."_s.arg(command.name)};
    return data(*command.direct);
}

Value Interpreter::command(const Command &command) {
    return command.application ? applicationCommand(command) : coreCommand(command);
}

Value Interpreter::coreCommand(const Command &command) {
    using Action = Value (Interpreter::*)(const Command &);
    static const QHash<QString, Action> actions = {
        {u"log"_s, &Interpreter::log},
        {u"get"_s, &Interpreter::direct},
        {u"count"_s, &Interpreter::countCommand},
        {u"exists"_s, &Interpreter::existsCommand},
        {u"do shell script"_s, &Interpreter::doShellScript},
        {u"delay"_s, &Interpreter::delay},
        {u"beep"_s, &Interpreter::beep},
        {u"display dialog"_s, &Interpreter::displayDialog},
        {u"display alert"_s, &Interpreter::displayDialog},
        {u"display notification"_s, &Interpreter::displayNotification},
        {u"the clipboard"_s, &Interpreter::theClipboard},
        {u"set the clipboard to"_s, &Interpreter::setTheClipboard},
        {u"open location"_s, &Interpreter::openLocation},
        {u"current date"_s, &Interpreter::currentDate},
        {u"path to"_s, &Interpreter::pathTo},
        {u"random number"_s, &Interpreter::randomNumber},
        {u"round"_s, &Interpreter::round},
        {u"offset"_s, &Interpreter::offsetOf},
        {u"run script"_s, &Interpreter::runScript},
        {u"ASCII character"_s, &Interpreter::asciiCharacter},
        {u"ASCII number"_s, &Interpreter::asciiNumber},
    };
    if (const auto action = actions.value(command.name))
        return (this->*action)(command);
    throw ScriptError{error::NOT_UNDERSTOOD, u"The command %1 isn’t available on this computer: %2."_s.arg(
                                                 command.name, missingFor(command.name))};
}

Value Interpreter::log(const Command &command) {
    m_host.system().log(command.direct ? formatPlain(data(*command.direct)) : QString());
    return {};
}

Value Interpreter::delay(const Command &command) {
    m_host.system().delay(command.direct ? std::max(0.0, toNumber(data(*command.direct), m_rules)) : 1.0);
    return {};
}

// Its number is read, so that a wrong one is an error here too.
Value Interpreter::beep(const Command &command) {
    if (command.direct)
        toInteger(data(*command.direct), m_rules);
    return {};
}

Value Interpreter::theClipboard(const Command &command) {
    return asWanted(command, need(need(m_host.clipboard())->text()));
}

Value Interpreter::setTheClipboard(const Command &command) {
    need(need(m_host.clipboard())->setText(toText(direct(command), m_rules)));
    return {};
}

Value Interpreter::openLocation(const Command &command) {
    need(m_host.applications().openLocation(toText(direct(command), m_rules)));
    return {};
}

Value Interpreter::currentDate(const Command &) {
    return Value::date(m_host.system().now());
}

Value Interpreter::asciiCharacter(const Command &command) {
    return QString(QChar(char16_t(toInteger(direct(command), m_rules))));
}

Value Interpreter::asciiNumber(const Command &command) {
    const QString text = toText(direct(command), m_rules);
    return text.isEmpty() ? Value(0) : Value(qint64(text.front().unicode()));
}

// The result in the class that the parameter `as` asks for.
Value Interpreter::asWanted(const Command &command, const Value &result) {
    const auto type = parameter(command, u"as");
    const auto *wanted = type ? type->as<ClassName>() : nullptr;
    return wanted ? coerce(result, wanted->name, m_rules) : result;
}

Value Interpreter::countCommand(const Command &command) {
    if (!command.direct)
        throw ScriptError{error::MISSING_PARAMETER, u"The direct parameter is missing for count."_s};
    return Value(qint64(countOf(data(*command.direct))));
}

Value Interpreter::existsCommand(const Command &command) {
    if (!command.direct)
        throw ScriptError{error::MISSING_PARAMETER, u"The direct parameter is missing for exists."_s};
    try {
        const Value value = specify(*command.direct);
        const auto *specifier = value.as<SpecifierPtr>();
        if (specifier && applicationOf(**specifier)) {
            if ((*specifier)->form == Specifier::Form::application)
                return !(*specifier)->application.id.isEmpty();
            return sendEvent({*applicationOf(**specifier), u"exists"_s, value, {}});
        }
        return !follow(value).isNothing();
    } catch (const ScriptError &error) {
        if (error.number == error::NO_SUCH_OBJECT || error.number == error::INVALID_INDEX)
            return false;
        throw;
    }
}

Value Interpreter::doShellScript(const Command &command) {
    if (flag(command, u"administrator privileges", false))
        throw ScriptError{-60007, u"Administrator privileges aren’t available to scripts on this computer."_s};
    const ShellOutcome outcome = need(m_host.system().shell(toText(direct(command), m_rules)));
    const bool alters = flag(command, u"altering line endings", true);
    const auto tidied = [alters](const QByteArray &bytes) {
        QString text = QString::fromUtf8(bytes);
        if (!alters)
            return text;
        text.replace(u"\r\n"_s, u"\r"_s).replace(u'\n', u'\r');
        if (text.endsWith(u'\r'))
            text.chop(1);
        return text;
    };
    if (outcome.status != 0) {
        const QString message = tidied(outcome.err);
        throw ScriptError{outcome.status,
                          message.isEmpty() ? u"The command exited with a non-zero status."_s : message};
    }
    const Value text = tidied(outcome.out);
    return asWanted(command, text);
}

Value Interpreter::displayDialog(const Command &command) {
    const bool alert = command.name == u"display alert";
    DialogRequest request;
    request.kind = alert ? DialogRequest::Kind::alert : DialogRequest::Kind::dialog;
    request.text = toText(direct(command), m_rules);
    request.message = textParameter(command, u"message");
    request.title = textParameter(command, u"with title");
    chooseButtons(command, request);
    if (const auto answer = parameter(command, u"default answer"))
        request.defaultText = toText(*answer, m_rules);
    request.hiddenText = flag(command, u"hidden answer", false);
    if (const auto seconds = parameter(command, u"giving up after"))
        request.givingUpAfter = toNumber(*seconds, m_rules);
    if (const auto icon = parameter(command, alert ? u"as" : u"with icon"))
        request.icon = iconOf(*icon);
    const DialogAnswer answer = need(m_host.dialogs().ask(request));
    if (!answer.gaveUp && (answer.button < 0 || answer.button == request.cancelButton))
        throw ScriptError{error::CANCELED, u"User canceled."_s};
    return dialogReply(request, answer);
}

void Interpreter::chooseButtons(const Command &command, DialogRequest &request) {
    const bool alert = request.kind == DialogRequest::Kind::alert;
    if (const auto buttons = parameter(command, u"buttons")) {
        const Value list = coerce(*buttons, u"list"_s, m_rules);
        for (const auto &button : (*list.as<ListPtr>())->items)
            request.buttons.append(toText(follow(button), m_rules));
    }
    if (request.buttons.isEmpty()) {
        request.buttons = alert ? QStringList{u"OK"_s} : QStringList{u"Cancel"_s, u"OK"_s};
        request.defaultButton = int(request.buttons.size()) - 1;
    }
    request.cancelButton = alert ? -1 : int(request.buttons.indexOf(u"Cancel"_s));
    if (const auto button = parameter(command, u"default button"))
        request.defaultButton = buttonIndex(*button, request.buttons, m_rules);
    if (const auto button = parameter(command, u"cancel button"))
        request.cancelButton = buttonIndex(*button, request.buttons, m_rules);
    if (request.defaultButton >= request.buttons.size() || request.cancelButton >= request.buttons.size())
        throw ScriptError{error::BAD_PARAMETER, u"Parameter error."_s};
}

Value Interpreter::displayNotification(const Command &command) {
    NotificationRequest request;
    request.text = command.direct ? toText(data(*command.direct), m_rules) : QString();
    request.title = textParameter(command, u"with title");
    request.subtitle = textParameter(command, u"subtitle");
    request.sound = textParameter(command, u"sound name");
    need(m_host.dialogs().notify(request));
    return {};
}

Value Interpreter::pathTo(const Command &command) {
    const Value what = direct(command);
    static const std::pair<QStringView, Folder> known[] = {{u"home", Folder::home},
                                                           {u"desktop", Folder::desktop},
                                                           {u"documents", Folder::documents},
                                                           {u"downloads", Folder::downloads},
                                                           {u"music", Folder::music},
                                                           {u"pictures", Folder::pictures},
                                                           {u"movies", Folder::movies},
                                                           {u"temporary items", Folder::temporary},
                                                           {u"applications", Folder::applications},
                                                           {u"preferences", Folder::preferences}};
    std::optional<QString> path;
    if (const auto *specifier = what.as<SpecifierPtr>();
        specifier && (*specifier)->form == Specifier::Form::application)
        path = (*specifier)->application.path;
    const auto *constant = what.as<Constant>();
    QString name = constant ? constant->name.toLower() : QString();
    if (name.endsWith(u" folder"))
        name.chop(7);
    for (const auto &[folder, place] : known) {
        if (name == folder)
            path = m_host.system().path(place) + u'/';
    }
    if (name == u"startup disk")
        path = u"/"_s;
    if (!path || path->isEmpty())
        throw ScriptError{error::FILE_NOT_FOUND, u"File %1 wasn’t found."_s.arg(formatSource(what))};
    const Value file = FileReference{FileReference::Kind::alias, *path};
    return asWanted(command, file);
}

Value Interpreter::randomNumber(const Command &command) {
    const auto from = parameter(command, u"from"), to = parameter(command, u"to");
    const std::optional<Value> limit = command.direct ? std::optional(data(*command.direct)) : to;
    if (!limit)
        return m_host.system().random();
    const Value low = coerce(from.value_or(Value(0)), u"number"_s, m_rules),
                high = coerce(*limit, u"number"_s, m_rules);
    if (!low.is<qint64>() || !high.is<qint64>())
        return low.toDouble() + m_host.system().random() * (high.toDouble() - low.toDouble());
    const double first = std::min(low.toDouble(), high.toDouble()), last = std::max(low.toDouble(), high.toDouble());
    return Value::number(qint64(first + std::floor(m_host.system().random() * (last - first + 1))));
}

Value Interpreter::round(const Command &command) {
    const double number = toNumber(direct(command), m_rules);
    const QString how = command.parameters.empty() ? QString() : formatPlain(*parameter(command, u"rounding"));
    const double rounded = how == u"up"                    ? std::ceil(number)
                           : how == u"down"                ? std::floor(number)
                           : how == u"toward zero"         ? std::trunc(number)
                           : how == u"as taught in school" ? std::round(number)
                                                           : std::nearbyint(number);
    return std::fabs(rounded) <= 536870911 ? Value(qint64(rounded)) : Value(rounded);
}

Value Interpreter::offsetOf(const Command &command) {
    const QString part = comparable(textParameter(command, u"of"), m_rules);
    const QString whole = comparable(textParameter(command, u"in"), m_rules);
    const auto at = part.isEmpty() ? -1 : whole.indexOf(part, 0, m_rules.caseSensitivity());
    if (at < 0)
        return 0;
    return Value(qint64(textElements(whole.first(at), u"character"_s, m_rules).size()) + 1);
}

// In a script of its own; its errors are placed where it was run.
Value Interpreter::runScript(const Command &command) {
    const Value source = direct(command);
    if (const auto *script = source.as<ScriptPtr>()) {
        ScriptPtr owner = *script;
        const auto handler = findHandler(owner, u"run"_s);
        if (!handler)
            throw ScriptError{error::NOT_UNDERSTOOD, u"«script» doesn’t understand the “run” message."_s};
        return invoke(owner, handler, {}, {});
    }
    QStringList arguments;
    if (const auto given = parameter(command, u"with parameters")) {
        const Value list = coerce(*given, u"list"_s, m_rules);
        for (const auto &item : (*list.as<ListPtr>())->items)
            arguments.append(toText(follow(item), m_rules));
    }
    const QString text = toText(source, m_rules);
    const auto script = compile(text);
    if (!script)
        throw ScriptError{script.error().number, script.error().message};
    const auto outcome = applescript::run(*script, m_host, arguments);
    if (!outcome)
        throw ScriptError{outcome.error().number, outcome.error().message};
    return *outcome;
}

} // namespace ombru::applescript
