// The computer: its shell, clock, folders, addresses.
#include "applescript/additions/Addition.h"
#include "applescript/run/Events.h"
#include "applescript/run/Need.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"
#include "applescript/values/Specifier.h"

#include <QUrl>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

QString tidied(const QByteArray &bytes, bool altersLineEndings) {
    QString text = QString::fromUtf8(bytes);
    if (!altersLineEndings)
        return text;
    text.replace(u"\r\n"_s, u"\r"_s).replace(u'\n', u'\r');
    if (text.endsWith(u'\r'))
        text.chop(1);
    return text;
}

Value doShellScript(const Invocation &command) {
    if (command.flag(u"administrator privileges", false))
        throw ScriptError{-60007, u"Administrator privileges aren’t available to scripts on this computer."_s};
    const QString line = toText(command.direct(), command.rules());
    const ShellOutcome outcome = need(command.host().system().shell(line));
    const bool alters = command.flag(u"altering line endings", true);
    if (outcome.status != 0) {
        const QString message = tidied(outcome.err, alters);
        throw ScriptError{outcome.status,
                          message.isEmpty() ? u"The command exited with a non-zero status."_s : message};
    }
    return command.asWanted(tidied(outcome.out, alters));
}

Value delay(const Invocation &command) {
    const double seconds = command.hasDirect() ? std::max(0.0, toNumber(command.direct(), command.rules())) : 1.0;
    command.host().system().delay(seconds);
    return {};
}

Value log(const Invocation &command) {
    command.host().system().log(command.hasDirect() ? formatPlain(command.direct()) : QString());
    return {};
}

Value currentDate(const Invocation &command) {
    return Value::date(command.host().system().now());
}

// The file that an address names, or nothing when it names something else. Only one of this computer by its full path.
std::optional<QString> fileAt(const QString &address) {
    const QUrl url(address);
    if (url.scheme() != u"file")
        return std::nullopt;
    const auto host = url.host();
    const auto path = url.path(QUrl::FullyDecoded);
    const bool here = host.isEmpty() || host.compare(u"localhost", Qt::CaseInsensitive) == 0;
    if (!here || !path.startsWith(u'/') || path.contains(QChar(0)))
        throw ScriptError{error::FILE_NOT_FOUND, u"File %1 wasn’t found."_s.arg(address)};
    return path;
}

// A file is an event to the application that opens it, for the owner to allow like any other.
Value openLocation(const Invocation &command) {
    const QString address = toText(command.direct(), command.rules()).trimmed();
    auto &applications = command.host().applications();
    if (const auto path = fileAt(address)) {
        const auto opener = need(applications.openerOf(*path));
        command.context().events().send({opener, u"open"_s, FileReference{FileReference::Kind::file, *path}, {}});
    } else {
        need(applications.openLocation(address));
    }
    return {};
}

constexpr std::pair<QStringView, Folder> FOLDERS[] = {{u"home", Folder::home},
                                                      {u"desktop", Folder::desktop},
                                                      {u"documents", Folder::documents},
                                                      {u"downloads", Folder::downloads},
                                                      {u"music", Folder::music},
                                                      {u"pictures", Folder::pictures},
                                                      {u"movies", Folder::movies},
                                                      {u"temporary items", Folder::temporary},
                                                      {u"applications", Folder::applications},
                                                      {u"preferences", Folder::preferences}};

// The path of a folder by its name, with or without "folder"; nothing when it is none of this computer's.
std::optional<QString> folderNamed(QString name, System &system) {
    if (name.endsWith(u" folder"))
        name.chop(7);
    if (name == u"startup disk")
        return u"/"_s;
    for (const auto &[known, folder] : FOLDERS) {
        if (name == known)
            return system.path(folder) + u'/';
    }
    return std::nullopt;
}

Value pathTo(const Invocation &command) {
    const Value what = command.direct();
    std::optional<QString> path;
    if (const auto *specifier = what.as<SpecifierPtr>();
        specifier && (*specifier)->form == Specifier::Form::application)
        path = (*specifier)->application.path;
    if (const auto *constant = what.as<Constant>())
        path = folderNamed(constant->name.toLower(), command.host().system());
    if (!path || path->isEmpty())
        throw ScriptError{error::FILE_NOT_FOUND, u"File %1 wasn’t found."_s.arg(formatSource(what))};
    return command.asWanted(FileReference{FileReference::Kind::alias, *path});
}

using enum CommandTerm::Direct;

constexpr Addition COMMANDS[] = {
    {{.name = u"do shell script",
      .direct = expression,
      .parameters = u"as|user name|password|with prompt",
      .flags = u"administrator privileges|altering line endings"},
     &doShellScript},
    {{.name = u"delay", .direct = expression}, &delay},
    {{.name = u"log", .direct = expression}, &log},
    {{.name = u"current date", .direct = none}, &currentDate},
    {{.name = u"open location", .direct = expression, .flags = u"error reporting"}, &openLocation},
    {{.name = u"path to",
      .direct = expression,
      .parameters = u"from=user domain,local domain,system domain,network domain|as",
      .flags = u"folder creation",
      .directConstants =
          u"home folder|desktop folder|desktop|documents folder|downloads folder|music folder|pictures folder"
          u"|movies folder|temporary items folder|temporary items|applications folder|preferences folder"
          u"|preferences|utilities folder|library folder|startup disk|home|documents|downloads"},
     &pathTo},
};

} // namespace

Suite systemAdditions() {
    return {COMMANDS, {}};
}

} // namespace ombru::applescript
