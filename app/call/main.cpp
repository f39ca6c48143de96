// ombru-call: a telephone call to ombru with no telephone.

#include "app/call/CallCommand.h"
#include "app/cli/CommandLoop.h"
#include "base/Background.h"
#include "base/Program.h"

#include <QCoreApplication>

#include <CLI/CLI.hpp>

using namespace ombru;

namespace {

constexpr auto NOTES = R"(
Without FILE it is a live call: talk into this computer's microphone, and hear the answers from its speaker, until
Ctrl-C hangs up. Use headphones: an answer that the microphone hears cuts itself off, as you do when you talk over it.
What was heard is kept where --answer says. Exit status: 0 after Ctrl-C, 1 the call failed or ended otherwise.

With FILE: waits for the greeting, says the file, and hangs up after twenty seconds in which nothing was answered. What
was heard is kept as a WAV file beside FILE, or where --answer says. Exit status: 0 there was an answer, 1 there was none
or the call failed, 2 wrong words, 130 after Ctrl-C.

A file to say:  espeak-ng -w request.wav "open the text editor")";

} // namespace

int main(int argc, char **argv) {
    beginProgram();
    QCoreApplication application(argc, argv);
    CallOptions options;
    std::string file;
    std::string answer;
    std::string from = options.from.toStdString();
    std::string token;
    CLI::App app{
        "Places a call to the ombru that runs on this computer, with its microphone and speaker, or says what a WAV\n"
        "file holds.",
        "ombru-call"};
    app.add_option("FILE", file, "What to say: a WAV file with 16-bit samples; without it the call is live");
    app.add_option("-o,--answer", answer, "Where to keep what is heard");
    app.add_option("--from", from, "Who calls")->capture_default_str();
    app.add_option("--quiet", options.patience, "Seconds of silence after which it hangs up")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    auto *given = app.add_option("--token", token, "The call server's token; else the application is asked for it");
    app.add_option("--port", options.port, "The call server's port")
        ->needs(given)
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    app.footer(NOTES);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? statusWhenPrinted(0) : 2;
    }
    options.file = QString::fromStdString(file);
    options.answer = QString::fromStdString(answer);
    options.from = QString::fromStdString(from);
    if (given->count() > 0)
        options.token = QString::fromStdString(token);
    CallCommand command(std::move(options));
    const int status = runLoop(command);
    finishBackground(std::chrono::seconds(1));
    return status;
}
