// What the owner typed, as a value, and running it: a subcommand is its options here, its words in CommandLine.cpp, and
// a source of its own that defines runCommand() for them.
#pragma once
#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

namespace ombru {

struct RunOptions {
    enum class Conversation { usual, fresh, last }; // usual: a new one, and in the application its own
    QString task;
    std::optional<QString> model;
    std::optional<QString> maxSteps;
    bool json = false;
    Conversation conversation = Conversation::usual;
    bool detach = false;  // the application goes on with it, whatever becomes of the terminal
    bool confirm = false; // the owner is asked before each script
    QString display = {}; // NOLINT(readability-redundant-member-init): where it was typed; set when it is handed over
};
struct SettingsOptions {
    std::optional<QString> key;
    std::optional<QString> value;
    bool reset = false; // to its default
};
struct ConsentOptions {
    enum class Action { list, allow, deny, forget };
    Action action = Action::list;
    QStringList applications;      // names or identifiers
    std::optional<QString> client; // whose scripts; none: the application's own
    bool json = false;
};
struct TestClaudeOptions {};
struct DoctorOptions {};
struct StatusOptions {
    bool json = false;
};

struct SignInOptions {
    std::optional<QString> server;
};
struct SignOutOptions {};
struct StopOptions {};
struct NewSessionOptions {};
struct ShareAudioOptions {
    bool on = false;
};
struct LogOptions {
    bool follow = false;
    bool json = false;
};
struct UninstallOptions {
    bool purgeData = false;
};
struct HeadlessOptions {}; // the application that stays
struct PanelOptions {
    bool again = false; // the application was started once more: its hint, not its panel
};

// Nothing to do but to print and exit: help, version, or what was wrong with the words.
struct Farewell {
    QString output;
    QString error;
    int status = 0; // 2 for words that make no command
};

using Command = std::variant<RunOptions, SettingsOptions, ConsentOptions, TestClaudeOptions, DoctorOptions,
                             StatusOptions, SignInOptions, SignOutOptions, StopOptions, NewSessionOptions,
                             ShareAudioOptions, LogOptions, PanelOptions, UninstallOptions, HeadlessOptions, Farewell>;

Command readCommandLine(const QStringList &arguments); // without the program's name

// Each runs one command to its end and gives the exit status. Main thread, with an application and no running loop.
int runCommand(RunOptions options);
int runCommand(SettingsOptions options);
int runCommand(ConsentOptions options);
int runCommand(TestClaudeOptions options);
int runCommand(DoctorOptions options);
int runCommand(StatusOptions options);
int runCommand(SignInOptions options);
int runCommand(SignOutOptions options);
int runCommand(StopOptions options);
int runCommand(NewSessionOptions options);
int runCommand(ShareAudioOptions options);
int runCommand(LogOptions options);
int runCommand(PanelOptions options);
int runCommand(UninstallOptions options); // in app/resident, as the next
int runCommand(HeadlessOptions options);
int runCommand(Farewell farewell);

} // namespace ombru
