// ombru-service: the other end of ombru. Reads the command line, and serves.

#include "base/Background.h"
#include "base/OpenFiles.h"
#include "base/Program.h"
#include "service/Commands.h"
#include "service/EndSignal.h"
#include "service/Server.h"
#include "service/log/Log.h"

#include <QCoreApplication>
#include <QTextStream>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <unistd.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

constexpr auto NOTES = R"(
Without a command it serves until Ctrl-C or a request to end, on http://localhost:8787 unless the settings say otherwise.
The first start prints a code: open the page, enter the code, and make your account. Then sign a computer in, on it:

    ombru sign-in --server http://localhost:8787

For other computers put a proxy with a certificate in front, on a host of its own, and say so:

    ombru-service settings publicURL https://ombru.example
    ombru-service settings proxy 127.0.0.1

Where its package is installed it runs by itself, as a user of its own. That user's settings are the system's:

    journalctl -u ombru-service
    sudo ombru-service settings publicURL https://ombru.example
    sudo -u ombru-service ombru-service backup /var/lib/ombru-service/copy.sqlite

Exit status: 0 done, 1 it could not be done, 2 wrong words.)";

// What may be said for one run, by the names of the settings.
struct Words {
    std::string file;
    std::map<std::string, std::string> overrides;
    std::string argument;
    std::string value;
};

void greet(const Server &server, const ServiceSettings &settings) {
    QTextStream out(stdout);
    out << "ombru-service is at " << server.publicURL().toString() << Qt::endl;
    if (!server.visitCode().isEmpty())
        out << "First visit: open that page and enter the code " << server.visitCode() << Qt::endl;
    for (const auto &line : settings.advice())
        out << line << Qt::endl;
}

Task<> end(Server &server) {
    co_await server.stop();
    logEvent(u"ended");
    Loop::main().post([] { QCoreApplication::exit(0); });
}

int runServer(ServiceSettings &settings) {
    allowManyFiles();
    const auto server = Server::start(settings, {});
    if (!server)
        return complain(server.error().description);
    TaskScope tasks;
    const EndSignal signal([&] { tasks.start(end(**server)); });
    greet(**server, settings);
    logEvent(u"started", {{u"url", (*server)->publicURL().toString()}});
    return QCoreApplication::exec();
}

Result<> overrideAll(ServiceSettings &settings, const Words &words) {
    for (const auto &[key, value] : words.overrides) {
        if (value.empty())
            continue;
        const auto done = settings.find(QString::fromStdString(key))->overrideTyped(QString::fromStdString(value));
        if (!done)
            return done;
    }
    return {};
}

int run(const CLI::App &app, const Words &words) {
    ServiceSettings settings(words.file.empty()
                                 ? ServiceSettings::defaultFile(::getuid(), QStringLiteral(OMBRU_SYSTEM_SETTINGS))
                                 : QString::fromStdString(words.file));
    settings.onTrouble([](const QString &line) { complain(line); });
    if (const auto overridden = overrideAll(settings, words); !overridden)
        return complain(overridden.error().description);
    const auto argument = QString::fromStdString(words.argument);
    if (app.got_subcommand("backup"))
        return backUp(settings, argument);
    if (app.got_subcommand("restore"))
        return restore(settings, argument);
    if (app.got_subcommand("add-user"))
        return addUser(settings, argument);
    if (app.got_subcommand("reset-password"))
        return resetPassword(settings, argument);
    if (app.got_subcommand("settings"))
        return argument.isEmpty() ? listSettings(settings)
                                  : writeSetting(settings, argument, QString::fromStdString(words.value));
    return runServer(settings);
}

void addCommand(CLI::App &app, const char *name, const char *help, const char *argument, const char *meaning,
                Words &words) {
    app.add_subcommand(name, help)->add_option(argument, words.argument, meaning)->required();
}

void describe(CLI::App &app, Words &words) {
    app.set_version_flag("--version", "ombru-service " OMBRU_VERSION);
    app.add_option("--settings-file", words.file, "Settings from here instead of the system's or the user's");
    app.add_option("--port", words.overrides["port"], "TCP port, for this run; 0 for a free one");
    app.add_option("--data", words.overrides["dataDirectory"], "Where it keeps everything, for this run");
    app.add_option("--public-url", words.overrides["publicURL"], "Address at which browsers reach it, for this run");
    addCommand(app, "backup", "Copy everything that was told so far into one file, also while the service runs", "FILE",
               "The copy", words);
    addCommand(app, "restore", "Put a copy in the place of what there is, while no service runs", "FILE", "The copy",
               words);
    addCommand(app, "add-user", "Make another account; its password comes from standard input", "EMAIL", "Its address",
               words);
    addCommand(app, "reset-password", "Give an account a new password, from standard input", "EMAIL", "Its address",
               words);
    auto *settings = app.add_subcommand("settings", "Show the settings, or change one");
    auto *key = settings->add_option("KEY", words.argument, "Which one");
    settings->add_option("VALUE", words.value, "What it is to be; nothing for the default")->needs(key);
    app.require_subcommand(0, 1);
    app.footer(NOTES);
}

} // namespace

int main(int argc, char **argv) {
    beginProgram();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"ombru-service"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(OMBRU_VERSION));
    prepareSecrets();
    Words words;
    CLI::App app{"The other end of ombru: a page on which you hand tasks to your computers, watch them, and stop them.",
                 "ombru-service"};
    describe(app, words);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? statusWhenPrinted(0) : 2;
    }
    const int status = run(app, words);
    finishBackground(std::chrono::seconds(2));
    return status;
}
