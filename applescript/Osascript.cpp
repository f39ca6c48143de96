#include "applescript/Osascript.h"

#include "applescript/Script.h"
#include "applescript/host/Host.h"
#include "applescript/values/Errors.h"
#include "applescript/values/Format.h"
#include "applescript/values/Stack.h"

#include <QFile>
#include <QIODevice>

#include <optional>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

constexpr char USAGE[] = "usage: osascript [-l AppleScript] [-e script] [-s {ehso}] [programfile | -] [argument ...]\n"
                         "  -e script  a line of the script; given again, the next one\n"
                         "  -s h|s     write the result for people (h) or as source (s)\n"
                         "  -s e|o     write errors to standard error (e) or standard output (o)\n";

struct Options {
    std::optional<QString> script; // of -e
    QString file;
    QStringList arguments;
    bool source = false;
    bool errorsToOutput = false;
    bool help = false;
};

std::optional<QString> readFlags(const QString &flags, Options &options) {
    for (const QChar flag : flags) {
        if (flag == u's' || flag == u'h')
            options.source = flag == u's';
        else if (flag == u'o' || flag == u'e')
            options.errorsToOutput = flag == u'o';
        else
            return u"unknown -s flag “%1”: only e, h, o and s are known"_s.arg(flag);
    }
    return std::nullopt;
}

// What is wrong with the option, if anything.
std::optional<QString> readOption(QChar option, const QString &value, Options &options) {
    if (option == u'e') {
        options.script = options.script ? *options.script + u'\n' + value : value;
        return std::nullopt;
    }
    if (option == u's')
        return readFlags(value, options);
    if (value.compare(u"AppleScript", Qt::CaseInsensitive) == 0)
        return std::nullopt;
    return u"no such language “%1”: only AppleScript runs here"_s.arg(value);
}

std::expected<Options, QString> parse(const QStringList &arguments) {
    Options options;
    qsizetype i = 0;
    for (; i < arguments.size() && arguments[i].startsWith(u'-') && arguments[i].size() > 1; ++i) {
        const QString &word = arguments[i];
        if (word == u"--") {
            ++i;
            break;
        }
        if (word == u"--help" || word == u"-h") {
            options.help = true;
            return options;
        }
        if (word == u"-i")
            return std::unexpected(u"interactive mode isn’t available; use -e, a file or standard input"_s);
        if (word[1] != u'e' && word[1] != u's' && word[1] != u'l')
            return std::unexpected(u"illegal option “%1”"_s.arg(word));
        const bool attached = word.size() > 2;
        if (!attached && i + 1 >= arguments.size())
            return std::unexpected(u"option “%1” requires an argument"_s.arg(word));
        const QString value = attached ? word.sliced(2) : arguments[++i];
        if (const auto wrong = readOption(word[1], value, options))
            return std::unexpected(*wrong);
    }
    if (!options.script && i < arguments.size())
        options.file = arguments[i++];
    options.arguments = arguments.sliced(i);
    return options;
}

std::expected<QString, QString> readScript(const Options &options, QIODevice &in) {
    if (options.script)
        return *options.script;
    if (options.file.isEmpty() || options.file == u"-")
        return decodeScript(in.readAll());
    QFile file(options.file);
    if (!file.open(QIODevice::ReadOnly))
        return std::unexpected(u"%1: %2"_s.arg(options.file, file.errorString()));
    return decodeScript(file.readAll());
}

QString errorLine(const Options &options, const Diagnostic &problem, bool syntax) {
    const bool file = !options.script && !options.file.isEmpty() && options.file != u"-";
    const QString kind = !syntax ? u"execution error"_s : file ? u"script error"_s : u"syntax error"_s;
    QString message = problem.message;
    message.replace(u'\r', u'\n'); // the carriage returns of `do shell script` would hide the line
    const auto place = u"%1:%2"_s.arg(problem.range.start).arg(problem.range.end);
    return u"%1%2: %3: %4 (%5)\n"_s.arg(file ? options.file + u": "_s : QString(), place, kind, message,
                                        QString::number(problem.number));
}

} // namespace

int runOsascript(const QStringList &arguments, QIODevice &in, QIODevice &out, QIODevice &err, Host &host) {
    const auto options = parse(arguments);
    if (!options) {
        err.write(u"osascript: %1\n"_s.arg(options.error()).toUtf8() + USAGE);
        return 1;
    }
    if (options->help) {
        out.write(USAGE);
        return 0;
    }
    const auto text = readScript(*options, in);
    if (!text) {
        err.write(u"osascript: %1\n"_s.arg(text.error()).toUtf8());
        return 1;
    }
    QIODevice &errors = options->errorsToOutput ? out : err;
    const HeapScope heap;
    const StackScope stack;
    const auto script = compile(*text);
    if (!script) {
        errors.write(errorLine(*options, script.error(), true).toUtf8());
        return 1;
    }
    const auto result = run(*script, host, options->arguments);
    if (!result) {
        errors.write(errorLine(*options, result.error(), false).toUtf8());
        return 1;
    }
    if (result->isNothing())
        return 0;
    try {
        out.write((options->source ? formatSource(*result) : formatPlain(*result)).toUtf8() + '\n');
    } catch (const ScriptError &error) { // a list that contains itself has no end
        errors.write(errorLine(*options, {{}, error.message, error.number}, false).toUtf8());
        return 1;
    }
    return 0;
}

} // namespace ombru::applescript
