#include "app/cli/CommandLine.h"

#include "app/cli/Terminal.h"

#include <QCoreApplication>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <sstream>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr auto EXAMPLES = R"(
Examples:
  ombru run "open the text editor and write a haiku about rain into it"
  ombru run --max-steps 5 "what is on my screen?"
  ombru doctor                     say what works and what to do about the rest
  ombru status                     say what ombru may do, and what is left to allow
  ombru settings                   list every setting with its value
  ombru settings maxSteps 30       change one
  ombru consent list               which applications scripts may control
  ombru consent allow TextEdit     be asked whether they may
  ombru --headless                 stay, and take tasks from the web page of your account

While a task runs, Ctrl-C stops it. The agent sees your screen and types for you: watch it.)";

constexpr auto RUN_NOTES = R"(
The event log is printed as it grows. Exit status: 0 when the agent gave its final answer, 1 when the task failed or
ran out of steps, 130 after Ctrl-C. Needs a desktop session, and the claude tool installed and signed in
(`ombru doctor` tells).)";

constexpr auto CONSENT_NOTES = R"(
APP is an application's name as its menu shows it ("Text Editor"), a name that scripts use (TextEdit, "System Events" for
keys and clicks), or its identifier. A decision is for the scripts that ombru runs; --for PROGRAM makes it for those that
another program runs, given by its full path (/usr/bin/xterm). Exit status: 0 done, 1 the record of decisions cannot be
used or nobody could be asked, 2 no such application.)";

std::optional<QString> given(const CLI::Option *option, const std::string &value) {
    if (option->count() == 0)
        return {};
    return QString::fromStdString(value);
}

Farewell farewell(const CLI::App &app, const CLI::ParseError &error) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = app.exit(error, out, err);
    return {QString::fromStdString(out.str()), QString::fromStdString(err.str()), status == 0 ? 0 : 2};
}

} // namespace

namespace {

// The words that are known, and where the parser puts what was typed for them.
struct Grammar {
    CLI::App app{"Hands this computer's owner's tasks, in plain words, to an AI agent that operates the computer.",
                 "ombru"};
    CLI::App *run = nullptr;
    CLI::App *test = nullptr;
    CLI::App *doctor = nullptr;
    CLI::App *status = nullptr;
    CLI::App *signIn = nullptr;
    CLI::App *signOut = nullptr;
    CLI::App *stop = nullptr;
    CLI::App *newSession = nullptr;
    CLI::App *shareAudio = nullptr;
    CLI::App *log = nullptr;
    CLI::App *settings = nullptr;
    CLI::App *consent = nullptr;
    CLI::Option *serverOption = nullptr;
    CLI::Option *modelOption = nullptr;
    CLI::Option *stepsOption = nullptr;
    CLI::Option *keyOption = nullptr;
    CLI::Option *valueOption = nullptr;
    CLI::Option *clientOption = nullptr;
    std::vector<std::string> words;
    std::string model;
    std::string maxSteps;
    std::string key;
    std::string value;
    std::string client;
    std::string server;
    std::string onOrOff;
    bool json = false;
    bool headless = false;
    bool detach = false;
    bool follow = false;

    Grammar();

private:
    void addAccount();
    void addApplication();
    void addConsent();
};

Grammar::Grammar() {
    app.footer(EXAMPLES);
    app.set_version_flag("--version", "ombru " + QCoreApplication::applicationVersion().toStdString());
    app.require_subcommand(1);
    app.add_flag("--headless", headless, "Run the application without a panel, until Ctrl-C or SIGTERM ends it");

    run = app.add_subcommand("run", "Have the agent do a task on this computer, and print what happens");
    run->add_option("TASK", words, "What to do, in plain words")->required();
    modelOption = run->add_option("--model", model, "Model to ask for, this time only");
    stepsOption = run->add_option("--max-steps", maxSteps, "Most turns the agent may take, this time only");
    run->add_flag("--json", json, "Print each event as one line of JSON: kind, text, ts (seconds since 1970)");
    run->add_flag("--detach", detach, "Let the application go on with it, whatever becomes of this terminal");
    run->footer(RUN_NOTES);

    test = app.add_subcommand("test-claude", "Ask the claude tool for one short reply, to see that it works");
    doctor = app.add_subcommand("doctor", "Check what a task needs, and say what to do about what is missing");

    status = app.add_subcommand("status", "Say what ombru may do on this computer, and what is left to allow");
    status->add_flag("--json", json, "Print it as one line of JSON: setup, permissions, applications, claude");

    settings = app.add_subcommand("settings", "List, read or change the settings");
    keyOption = settings->add_option("KEY", key, "Setting to read");
    valueOption = settings->add_option("VALUE", value, "What to change it to");

    addAccount();
    addApplication();
    addConsent();
}

void Grammar::addAccount() {
    signIn = app.add_subcommand("sign-in", "Sign this computer in to your account: approve a code in the browser");
    serverOption = signIn->add_option("--server", server, "Address of the service, kept as the setting serverURL");
    signOut = app.add_subcommand("sign-out", "Forget the sign-in");
}

void Grammar::addApplication() {
    stop = app.add_subcommand("stop", "Stop the task that the application works on");
    newSession = app.add_subcommand("new-session", "Have the application's next task begin a new conversation");
    shareAudio =
        app.add_subcommand("share-audio", "Share the computer's sound into the calls that are open, or no more");
    shareAudio->add_option("on|off", onOrOff, "Whether")->required()->check(CLI::IsMember({"on", "off"}));
    log = app.add_subcommand("log", "Print the last events of the application");
    log->add_flag("-f,--follow", follow, "And those to come, until Ctrl-C");
    log->add_flag("--json", json, "Print each as one line of JSON: kind, text, ts (seconds since 1970)");
}

void Grammar::addConsent() {
    consent = app.add_subcommand("consent", "Say which applications scripts may control");
    consent->require_subcommand(1);
    consent->footer(CONSENT_NOTES);
    clientOption = consent->add_option("--for", client, "Whose scripts: a program's full path, or an identifier");
    auto *list = consent->add_subcommand("list", "Show what was decided");
    list->add_flag("--json", json, "Print each decision as one line of JSON");
    const auto decision = [&](const char *name, const char *meaning) {
        consent->add_subcommand(name, meaning)->add_option("APP", words, "Applications")->required();
    };
    decision("allow", "Be asked whether scripts may control applications");
    decision("deny", "Refuse it, without being asked again");
    decision("forget", "Take the decision back, to be asked again; a refusal only after a question");
    for (auto *action : consent->get_subcommands({}))
        action->fallthrough(); // --for may stand behind them
}

std::vector<std::string> reversed(const QStringList &arguments) {
    std::vector<std::string> words;
    for (const auto &argument : arguments)
        words.insert(words.begin(), argument.toStdString());
    return words;
}

QStringList wordsOf(const Grammar &grammar) {
    QStringList words;
    for (const auto &word : grammar.words)
        words.append(QString::fromStdString(word));
    return words;
}

ConsentOptions readConsent(const Grammar &grammar) {
    using enum ConsentOptions::Action;
    const auto action = [&] {
        if (grammar.consent->got_subcommand("allow"))
            return allow;
        if (grammar.consent->got_subcommand("deny"))
            return deny;
        return grammar.consent->got_subcommand("forget") ? forget : list;
    };
    return {action(), wordsOf(grammar), given(grammar.clientOption, grammar.client), grammar.json};
}

// The parser itself says no more than that a command is missing, also where one was mistyped.
Farewell withoutCommand(const CLI::App &app) {
    QStringList commands;
    for (const auto *command : app.get_subcommands([](const CLI::App *) { return true; }))
        commands.append(QString::fromStdString(command->get_name()));
    const auto name = app.get_parent() ? u"ombru %1"_s.arg(QString::fromStdString(app.get_name())) : u"ombru"_s;
    const auto left = app.remaining();
    const auto typed = left.empty() ? QString() : QString::fromStdString(left.front());
    const auto problem = left.empty() ? QString() : u"\"%1\" is no command of %2. "_s.arg(asTyped(typed), name);
    return {{}, u"%1%2 takes one of: %3\n"_s.arg(problem, name, commands.join(u", "_s)), 2};
}

// It is no command, so that the parser misses one.
Command readWithoutCommand(const Grammar &grammar) {
    if (grammar.headless && grammar.app.remaining().empty())
        return HeadlessOptions{};
    return withoutCommand(grammar.app);
}

Command readTask(const Grammar &grammar) {
    const auto text = wordsOf(grammar).join(u' ').trimmed();
    if (text.isEmpty())
        return Farewell{{}, u"Say what to do: ombru run \"open the text editor\"\n"_s, 2};
    return RunOptions{text, given(grammar.modelOption, grammar.model), given(grammar.stepsOption, grammar.maxSteps),
                      grammar.json, grammar.detach};
}

// Commands with nothing to look at but their options; none: it is another one.
std::optional<Command> readPlain(const Grammar &grammar) {
    if (grammar.test->parsed())
        return TestClaudeOptions{};
    if (grammar.doctor->parsed())
        return DoctorOptions{};
    if (grammar.status->parsed())
        return StatusOptions{grammar.json};
    if (grammar.signIn->parsed())
        return SignInOptions{given(grammar.serverOption, grammar.server)};
    if (grammar.signOut->parsed())
        return SignOutOptions{};
    if (grammar.stop->parsed())
        return StopOptions{};
    if (grammar.newSession->parsed())
        return NewSessionOptions{};
    if (grammar.shareAudio->parsed())
        return ShareAudioOptions{grammar.onOrOff == "on"};
    if (grammar.log->parsed())
        return LogOptions{grammar.follow, grammar.json};
    return {};
}

} // namespace

Command readCommandLine(const QStringList &arguments) {
    Grammar grammar;
    if (arguments.isEmpty())
        return Farewell{QString::fromStdString(grammar.app.help()), {}, 0};
    try {
        grammar.app.parse(reversed(arguments));
    } catch (const CLI::RequiredError &error) {
        if (grammar.app.get_subcommands().empty())
            return readWithoutCommand(grammar);
        const bool inConsent = grammar.consent->parsed() && grammar.consent->get_subcommands().empty();
        return inConsent ? withoutCommand(*grammar.consent) : farewell(grammar.app, error);
    } catch (const CLI::ParseError &error) {
        return farewell(grammar.app, error);
    }
    if (grammar.headless)
        return Farewell{{}, u"ombru --headless takes no command.\n"_s, 2};
    if (auto plain = readPlain(grammar))
        return *std::move(plain);
    if (grammar.settings->parsed())
        return SettingsOptions{given(grammar.keyOption, grammar.key), given(grammar.valueOption, grammar.value)};
    if (grammar.consent->parsed())
        return readConsent(grammar);
    return readTask(grammar);
}

int runCommand(Farewell farewell) {
    std::fputs(qUtf8Printable(farewell.output), stdout);
    std::fputs(qUtf8Printable(farewell.error), stderr);
    return farewell.status;
}

} // namespace ombru
