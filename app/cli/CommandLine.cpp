#include "app/cli/CommandLine.h"

#include "app/cli/CommandNotes.h"
#include "app/cli/TaskLines.h"
#include "app/cli/Terminal.h"
#include "base/Program.h"
#include "settings/Settings.h"

#include <QCoreApplication>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <sstream>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

std::string settingsNotes() {
    QString notes = QString::fromUtf8(SETTINGS_EXAMPLES);
    const Settings settings{QString()};
    for (const Setting *setting : settings.all())
        notes += u"  %1 %2\n"_s.arg(setting->key, -20).arg(setting->meaning);
    return notes.trimmed().prepend(u'\n').toStdString();
}

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
    CLI::App *panel = nullptr;
    CLI::App *settings = nullptr;
    CLI::App *consent = nullptr;
    CLI::App *uninstall = nullptr;
    CLI::App *help = nullptr;
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
    bool goOn = false;
    bool fresh = false;
    bool json = false;
    bool headless = false;
    bool detach = false;
    bool confirm = false;
    bool follow = false;
    bool purgeData = false;
    bool reset = false;

    Grammar();

private:
    void addRun();
    void addLooks();
    void addAccount();
    void addApplication();
    void addConsent();
};

Grammar::Grammar() {
    app.footer(EXAMPLES);
    app.set_version_flag("--version", "ombru " + QCoreApplication::applicationVersion().toStdString());
    app.require_subcommand(1);
    app.add_flag("--headless", headless, "Run the application without a panel, until Ctrl-C or SIGTERM ends it");

    addRun();
    addLooks();
    addAccount();
    addApplication();
    addConsent();
    uninstall = app.add_subcommand("uninstall", "Say how to remove ombru, and remove what it keeps about you");
    uninstall->add_flag("--purge-data", purgeData,
                        "Name what ombru keeps about you on this computer, ask, and remove it");
    help = app.add_subcommand("help", "Print this help, or that of a command");
    help->add_option("COMMAND", words, "Its name, as in: ombru help consent allow");
}

void Grammar::addRun() {
    run = app.add_subcommand("run", "Have the agent do a task on this computer, and print what happens");
    run->add_option("TASK", words, "What to do, in plain words; - reads it from the standard input")->required();
    modelOption = run->add_option("--model", model, "Model to ask for, this time only");
    stepsOption = run->add_option("--max-steps", maxSteps, "Most turns the agent may take, this time only");
    auto *goingOn = run->add_flag("--continue", goOn, "Go on with the conversation of the last task");
    run->add_flag("--fresh", fresh,
                  "Begin a new conversation, also in the application, which goes on with its last one")
        ->excludes(goingOn);
    run->add_flag("--confirm", confirm, "Ask about each script before it runs: run, skip or stop");
    run->add_flag("--json", json, "Print what happens for a program, one line of JSON each");
    run->add_flag("--detach", detach, "Let the application go on with it, whatever becomes of this terminal");
    run->footer(RUN_NOTES);
}

void Grammar::addLooks() {

    test = app.add_subcommand("test-claude", "Ask the claude tool for one short reply, to see that it works");
    doctor = app.add_subcommand("doctor", "Check what a task needs, and say what to do about what is missing");

    status = app.add_subcommand("status", "Say what ombru may do on this computer, and what is left to allow");
    doctor->footer(DOCTOR_NOTES);
    status->footer(STATUS_NOTES);
    status->add_flag("--json", json, "Print it as one line of JSON: setup, permissions, applications, claude");

    settings = app.add_subcommand("settings", "List, read or change the settings");
    keyOption = settings->add_option("KEY", key, "Setting to read");
    valueOption = settings->add_option("VALUE", value, "What to change it to");

    settings->add_flag("--reset", reset, "Give the setting its default");
    settings->footer(settingsNotes);
}

void Grammar::addAccount() {
    signIn = app.add_subcommand("sign-in", "Sign this computer in to your account: approve a code in the browser");
    serverOption = signIn->add_option("--server", server, "Address of the service, kept as the setting serverURL");
    signIn->footer(SIGN_IN_NOTES);
    signOut = app.add_subcommand("sign-out", "Forget the sign-in");
}

void Grammar::addApplication() {
    stop = app.add_subcommand("stop", "Stop the task that the application works on");
    newSession = app.add_subcommand("new-session", "Have the application's next task begin a new conversation");
    shareAudio =
        app.add_subcommand("share-audio", "Share the computer's sound into the calls that are open, or no more");
    shareAudio->add_option("on|off", onOrOff, "Whether")->required()->check(CLI::IsMember({"on", "off"}));
    panel = app.add_subcommand("panel",
                               "Open the panel of the application in the menu bar; starts it when it is not there");
    log = app.add_subcommand("log", "Print the last events of the application");
    log->footer(LOG_NOTES);
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
    if (grammar.confirm && (grammar.json || grammar.detach))
        return Farewell{{}, u"--confirm asks somebody who watches: it goes with neither --json nor --detach.\n"_s, 2};
    using enum RunOptions::Conversation;
    return RunOptions{.task = text,
                      .model = given(grammar.modelOption, grammar.model),
                      .maxSteps = given(grammar.stepsOption, grammar.maxSteps),
                      .json = grammar.json,
                      .conversation = grammar.goOn    ? last
                                      : grammar.fresh ? fresh
                                                      : usual,
                      .detach = grammar.detach,
                      .confirm = grammar.confirm};
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
    if (grammar.panel->parsed())
        return PanelOptions{};
    if (grammar.log->parsed())
        return LogOptions{grammar.follow, grammar.json};
    if (grammar.uninstall->parsed())
        return UninstallOptions{grammar.purgeData};
    return {};
}

Command readSettings(const Grammar &grammar) {
    const SettingsOptions options{given(grammar.keyOption, grammar.key), given(grammar.valueOption, grammar.value),
                                  grammar.reset};
    if (options.reset && (!options.key || options.value))
        return Farewell{{}, u"--reset takes the name of one setting: ombru settings --reset maxSteps\n"_s, 2};
    return options;
}

// Of the program, or of the command that was named.
Command readHelp(const Grammar &grammar) {
    const auto *app = &grammar.app;
    for (const auto &word : grammar.words) {
        const auto commands = app->get_subcommands([&](const CLI::App *each) { return each->get_name() == word; });
        if (commands.empty())
            return Farewell{
                {},
                u"There is no command \"%1\". `ombru help` lists them.\n"_s.arg(asTyped(QString::fromStdString(word))),
                2};
        app = commands.front();
    }
    return readCommandLine(wordsOf(grammar) + QStringList{u"--help"_s});
}

// A program that reads lines gets one also where its words make no command.
bool readsLines(const QStringList &arguments) {
    const auto end = arguments.indexOf(u"--"_s);
    return arguments.first() == u"run" && arguments.first(end < 0 ? arguments.size() : end).contains(u"--json");
}

Command read(const QStringList &arguments) {
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
    if (grammar.help->parsed())
        return readHelp(grammar);
    if (auto plain = readPlain(grammar))
        return *std::move(plain);
    if (grammar.settings->parsed())
        return readSettings(grammar);
    if (grammar.consent->parsed())
        return readConsent(grammar);
    return readTask(grammar);
}

} // namespace

Command readCommandLine(const QStringList &arguments) {
    auto command = read(arguments);
    auto *farewell = std::get_if<Farewell>(&command);
    if (farewell && farewell->status != 0 && readsLines(arguments))
        farewell->output += QString::fromUtf8(errorLine(farewell->error, farewell->status)) + u'\n';
    return command;
}

int runCommand(Farewell farewell) {
    std::fputs(qUtf8Printable(farewell.output), stdout);
    std::fputs(qUtf8Printable(farewell.error), stderr);
    return statusWhenPrinted(farewell.status);
}

} // namespace ombru
