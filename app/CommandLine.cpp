#include "app/CommandLine.h"

#include <QCoreApplication>

#include <CLI/CLI.hpp>
#include <sstream>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr auto EXAMPLES = R"(
Examples:
  ombru run "open the text editor and write a haiku about rain into it"
  ombru run --max-steps 5 "what is on my screen?"
  ombru doctor                     say what works and what to do about the rest
  ombru settings                   list every setting with its value
  ombru settings maxSteps 30       change one

While a task runs, Ctrl-C stops it. The agent sees your screen and types for you: watch it.)";

constexpr auto RUN_NOTES = R"(
The event log is printed as it grows. Exit status: 0 when the agent gave its final answer, 1 when the task failed or
ran out of steps, 130 after Ctrl-C. Needs a desktop session, and the claude tool installed and signed in
(`ombru doctor` tells).)";

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
    CLI::App *settings = nullptr;
    CLI::Option *modelOption = nullptr;
    CLI::Option *stepsOption = nullptr;
    CLI::Option *keyOption = nullptr;
    CLI::Option *valueOption = nullptr;
    std::vector<std::string> words;
    std::string model;
    std::string maxSteps;
    std::string key;
    std::string value;
    bool json = false;

    Grammar();
};

Grammar::Grammar() {
    app.footer(EXAMPLES);
    app.set_version_flag("--version", "ombru " + QCoreApplication::applicationVersion().toStdString());
    app.require_subcommand(1);

    run = app.add_subcommand("run", "Have the agent do a task on this computer, and print what happens");
    run->add_option("TASK", words, "What to do, in plain words")->required();
    modelOption = run->add_option("--model", model, "Model to ask for, this time only");
    stepsOption = run->add_option("--max-steps", maxSteps, "Most turns the agent may take, this time only");
    run->add_flag("--json", json, "Print each event as one line of JSON: kind, text, ts (seconds since 1970)");
    run->footer(RUN_NOTES);

    test = app.add_subcommand("test-claude", "Ask the claude tool for one short reply, to see that it works");
    doctor = app.add_subcommand("doctor", "Check what a task needs, and say what to do about what is missing");

    settings = app.add_subcommand("settings", "List, read or change the settings");
    keyOption = settings->add_option("KEY", key, "Setting to read");
    valueOption = settings->add_option("VALUE", value, "What to change it to");
}

std::vector<std::string> reversed(const QStringList &arguments) {
    std::vector<std::string> words;
    for (const auto &argument : arguments)
        words.insert(words.begin(), argument.toStdString());
    return words;
}

Command readTask(const Grammar &grammar) {
    QStringList task;
    for (const auto &word : grammar.words)
        task.append(QString::fromStdString(word));
    const auto text = task.join(u' ').trimmed();
    if (text.isEmpty())
        return Farewell{{}, u"Say what to do: ombru run \"open the text editor\"\n"_s, 2};
    return RunOptions{text, given(grammar.modelOption, grammar.model), given(grammar.stepsOption, grammar.maxSteps),
                      grammar.json};
}

} // namespace

Command readCommandLine(const QStringList &arguments) {
    Grammar grammar;
    if (arguments.isEmpty())
        return Farewell{QString::fromStdString(grammar.app.help()), {}, 0};
    try {
        grammar.app.parse(reversed(arguments));
    } catch (const CLI::ParseError &error) {
        return farewell(grammar.app, error);
    }
    if (grammar.test->parsed())
        return TestClaudeOptions{};
    if (grammar.doctor->parsed())
        return DoctorOptions{};
    if (grammar.settings->parsed())
        return SettingsOptions{given(grammar.keyOption, grammar.key), given(grammar.valueOption, grammar.value)};
    return readTask(grammar);
}

} // namespace ombru
