// The external `claude` command-line tool, the agent's intelligence: finds it, says whether it can be used, asks it for
// the next turn of a conversation, and helps the owner to install, update and sign in to it. Stateless operations; main
// thread.
#pragma once
#include "agent/RunCollecting.h"
#include "agent/ToolFailure.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <stop_token>
#include <variant>

namespace ombru::Claude {

// Finding and checking it -------------------------------------------------------------------------------------------

// `trouble` says for the owner why that is so, and what to do, where there is more to say than the state.
struct Unknown { // the sign-in check gave no usable answer
    QString trouble = {};
    bool operator==(const Unknown &) const = default;
};
struct Missing { // no tool found
    QString trouble = {};
    bool operator==(const Missing &) const = default;
};
struct Outdated {
    QStringList missing;  // required flags that it lacks
    QString trouble = {}; // empty where it is too old
    bool operator==(const Outdated &) const = default;
};
struct SignedOut {
    bool operator==(const SignedOut &) const = default;
};
struct Ready {
    QString email; // empty when the tool does not say
    bool operator==(const Ready &) const = default;
};
using State = std::variant<Unknown, Missing, Outdated, SignedOut, Ready>;

extern const QStringList requiredFlags;
extern const QString installCommand; // the vendor's; for a shell
extern const QString docsURL;

constexpr Clock::Duration QUICK = std::chrono::seconds(10); // how long the tool may take to answer a question of ours
constexpr Clock::Duration LOOKUP = std::chrono::seconds(5); // and the owner's shell
constexpr Clock::Duration SMOKE_TEST = std::chrono::minutes(5); // the model may be busy
constexpr qint64 QUICK_OUTPUT = 16 << 20;                       // bytes of an answer; one that prints more gives none

// Where the tool usually is, in the order in which it is looked for.
QStringList usualPlaces();

// Full path of the tool: the usual places first, then what the owner's shell finds.
Task<std::optional<QString>> findBinary(std::stop_token stop = {});

// What is in one of the usual places and cannot be run; empty when there is nothing.
QString whyNotFound();

// Full path of the tool in the owner's own PATH, as an interactive login shell sees it.
Task<std::optional<QString>> shellLookup(std::stop_token stop = {});

// What the tool prints; none when it cannot be started, takes longer, or the stop is asked for. It is ended then.
Task<std::optional<QString>> runQuick(QString binary, QStringList arguments, Clock::Duration limit = QUICK,
                                      std::stop_token stop = {});

// The required flags that its help does not name; all of them when it gives no help. Remembered until another path is
// asked about or the file's date changes.
Task<QStringList> missingFlags(QString binary, std::stop_token stop = {});

Task<State> check(std::stop_token stop = {});

// Asking it ---------------------------------------------------------------------------------------------------------

// The handle of one running ask. Its process is stored before the start: process->terminate() cancels at any time.
struct Call {
    std::shared_ptr<Process> process;
};

struct Question {
    QString binary;
    QString prompt;
    QString systemPrompt;
    std::optional<QString> sessionID; // of the conversation to go on with
    QString model;                    // empty: the tool's own choice
    QString workDir;
};

struct Reply {
    QString text;
    std::optional<QString> sessionID;
};

// Bounded only by ending call->process. Every Failure has domain "claude" and a description for the owner.
Task<std::expected<Reply, ToolFailure>> ask(Question question, std::shared_ptr<Call> call);

// What the tool is started with, and what is made of its answer. Pure. A NUL character, which no argument can carry,
// becomes U+FFFD.
QStringList arguments(const Question &question);
Result<Reply> replyOf(const Collected &collected);

struct SmokeTest {
    bool works = false;
    QString line;       // for the owner; begins with "✓ " or "✗ "
    QString cause = {}; // as a ToolFailure has it
};

// Asks for one fixed reply.
Task<SmokeTest> smokeTest(std::stop_token stop = {});

// The environment that a run of that tool gets: our own with a PATH in which the tool finds its helpers, which is that
// of the owner's shell where the shell has found it.
Environment toolEnvironment(const QString &binary);

// Where the tool keeps its conversations of that directory. Need not be there.
QString conversationsPath(const QString &workDir);

// In a terminal -----------------------------------------------------------------------------------------------------

// Each writes a script into workDir and has the desktop run it in a terminal. A Failure's description names what to
// type instead.
Result<> installInTerminal(const QString &workDir);
Task<Result<>> updateInTerminal(QString workDir, std::stop_token stop = {});
Task<Result<>> signInInTerminal(QString workDir, std::stop_token stop = {});
Result<> openTerminal(const QString &name, const QStringList &lines, const QString &workDir);

} // namespace ombru::Claude
