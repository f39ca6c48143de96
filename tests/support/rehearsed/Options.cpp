#include "tests/support/rehearsed/Options.h"

#include <QRegularExpression>

namespace ombru::rehearsed {
namespace {

using namespace Qt::StringLiterals;

struct Option {
    QStringList names;
    QString value; // how the help calls it; empty for a flag
    QString help;
};

const QList<Option> &options() {
    static const QList<Option> all{
        {{u"-p"_s, u"--print"_s}, {}, u"Print response and exit"_s},
        {{u"--output-format"_s}, u"<format>"_s, u"Output format: \"text\" or \"json\""_s},
        {{u"--tools"_s}, u"<tools...>"_s, u"The available tools; only \"Read\" is there"_s},
        {{u"--allowedTools"_s, u"--allowed-tools"_s}, u"<tools...>"_s, u"Tools that need no permission"_s},
        {{u"--append-system-prompt"_s}, u"<prompt>"_s, u"Added to the system prompt"_s},
        {{u"-r"_s, u"--resume"_s}, u"<id>"_s, u"Resume a conversation by session ID"_s},
        {{u"--model"_s}, u"<model>"_s, u"Taken note of; there is no model here"_s},
        {{u"-v"_s, u"--version"_s}, {}, u"Output the version number"_s},
        {{u"-h"_s, u"--help"_s}, {}, u"Display help"_s},
    };
    return all;
}

const Option *optionNamed(const QString &name, const QStringList &without) {
    const auto isLacked = [&](const QString &one) { return without.contains(one); };
    for (const auto &option : options())
        if (option.names.contains(name))
            return std::ranges::any_of(option.names, isLacked) ? nullptr : &option;
    return nullptr;
}

std::unexpected<Failure> refuse(const QString &what) {
    return std::unexpected(Failure{u"rehearsed"_s, 1, u"error: "_s + what});
}

QStringList list(const QString &value) {
    static const QRegularExpression between(u"[,\\s]+"_s);
    return value.split(between, Qt::SkipEmptyParts);
}

Result<Options> parseCommand(const QStringList &words) {
    Options options;
    const auto command = words.mid(0, 2).join(u' ');
    if (words.first() == u"update"_s)
        options.action = Options::Action::Update;
    else if (command == u"auth login"_s)
        options.action = Options::Action::SignIn;
    else if (command == u"auth status"_s)
        options.action = Options::Action::AuthStatus;
    else
        return refuse(u"unknown command '%1'"_s.arg(words.last()));
    for (const auto &word : words.mid(2))
        if (word != u"--json"_s)
            return refuse(u"unknown option '%1'"_s.arg(word));
    return options;
}

// Takes the arguments of print mode one by one.
class Parser {
public:
    Parser(const QStringList &arguments, const QStringList &without) : m_rest(arguments), m_without(without) {}

    Result<Options> parse() {
        while (!m_rest.isEmpty()) {
            const auto taken = take(m_rest.takeFirst());
            if (!taken)
                return std::unexpected(taken.error());
        }
        if (m_options.action != Options::Action::Print)
            return m_options;
        if (!m_print)
            return refuse(u"this stand-in has no interactive session; use -p/--print"_s);
        if (m_options.prompt.isEmpty())
            return refuse(u"Input must be provided either through stdin or as a prompt argument when using --print"_s);
        m_options.tools = m_tools;
        m_options.tools.removeIf([this](const QString &tool) { return !m_allowed.contains(tool); });
        return m_options;
    }

private:
    Result<> take(const QString &word) {
        if (!word.startsWith(u'-')) {
            m_options.prompt = word;
            return {};
        }
        const auto *option = optionNamed(word, m_without);
        if (!option)
            return refuse(u"unknown option '%1'"_s.arg(word));
        if (option->value.isEmpty())
            return setFlag(option->names.last());
        if (m_rest.isEmpty())
            return refuse(u"option '%1 %2' argument missing"_s.arg(option->names.join(u", "_s), option->value));
        return setValue(option->names.last(), m_rest.takeFirst());
    }

    Result<> setFlag(const QString &name) {
        if (name == u"--help"_s)
            m_options.action = Options::Action::Help;
        else if (name == u"--version"_s)
            m_options.action = Options::Action::Version;
        else
            m_print = true;
        return {};
    }

    Result<> setValue(const QString &name, const QString &value) {
        if (name == u"--tools"_s)
            m_tools = list(value);
        else if (name == u"--allowed-tools"_s)
            m_allowed = list(value);
        else if (name == u"--append-system-prompt"_s)
            m_options.systemPrompt = value;
        else if (name == u"--resume"_s)
            m_options.resume = value;
        else if (name == u"--model"_s)
            m_options.model = value;
        else if (value != u"json"_s && value != u"text"_s)
            return refuse(
                u"option '--output-format <format>' argument '%1' is invalid. Allowed choices are text, json."_s.arg(
                    value));
        else
            m_options.json = value == u"json"_s;
        return {};
    }

    QStringList m_rest;
    QStringList m_without;
    QStringList m_tools{u"Read"_s};
    QStringList m_allowed;
    Options m_options;
    bool m_print = false;
};

} // namespace

Result<Options> parseOptions(const QStringList &arguments, const QStringList &without) {
    if (!arguments.isEmpty() && (arguments.first() == u"auth"_s || arguments.first() == u"update"_s))
        return parseCommand(arguments);
    return Parser(arguments, without).parse();
}

QString helpText(const QStringList &without) {
    QString text = u"Usage: claude [options] [command] [prompt]\n\n"
                   "The rehearsed agent: stands in for the tool of that name and answers a few tasks that it knows by "
                   "heart.\n\nOptions:\n"_s;
    for (const auto &option : options())
        if (optionNamed(option.names.last(), without))
            text +=
                u"  %1  %2\n"_s.arg((option.names.join(u", "_s) + u' ' + option.value).leftJustified(42), option.help);
    text += u"\nCommands:\n  auth status --json\n  auth login\n  update\n"_s;
    return text;
}

} // namespace ombru::rehearsed
