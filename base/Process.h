// A child process: started in a group of its own, fed and read as its pipes allow, ended by group. Nothing here blocks.
//
//     const auto process = Process::make({.program = u"/bin/date"_s, .arguments = {u"-u"_s}});
//     if (const auto started = process->start(); !started) ...
//     co_await process->ended();
//     use(process->takeOutput(), process->status());
//
// The handle may be stored and handed round before the start, and ended through at any time: terminate() before the
// start makes the start fail, after the end it does nothing (no process id is ever used after its process was reaped).
// A process whose last handle is dropped while it runs is killed with its group.
//
// Once the program has named a keeper, each child is started through it: then everything that the child has started
// ends with it when it is terminated, killed or dropped, whatever group or session it has gone to, and also when this
// process ends, by whatever signal. What a child that ended by itself left in the background stays.
//
// "To its end" means all that was in the pipes when the child ended. A grandchild that holds a pipe open is neither
// waited for nor, when the child ended by itself, ended.
//
// Main thread only.
#pragma once
#include "base/Clock.h"
#include "base/Failure.h"
#include "base/Spawn.h"
#include "base/Task.h"

#include <QByteArray>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace ombru {

class Process : public std::enable_shared_from_this<Process> {
public:
    // Called with each piece of a stream as it arrives; the last one comes before ended() resumes. May call terminate()
    // and may drop the handle.
    using Receiver = std::function<void(QByteArrayView piece)>;

    struct Command {
        // NOLINTBEGIN(readability-redundant-member-init): without them the compiler wants every field named.
        QString program; // path of the executable, not searched for
        QStringList arguments = {};
        QString directory = {};                      // empty: this process's
        std::optional<Environment> environment = {}; // none: this process's
        std::optional<QByteArray> input = {};        // none: the null device
        Receiver onOutput = {};                      // absent: collected for takeOutput()
        Receiver onErrors = {};                      // absent: collected for takeErrors()
        std::vector<int> inherited = {};             // open files that it finds at 3, 4, ...; they stay open here
        QString afterForcedEnd = {};                 // a program that the keeper runs then
        // NOLINTEND(readability-redundant-member-init)
        qint64 outputLimit = 256 << 20;                  // bytes on both streams, after which the group is killed
        Clock::Duration grace = std::chrono::seconds(2); // from asking the group to end to killing it
    };

    static std::shared_ptr<Process> make(Command command);
    ~Process();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    // At most once. A Failure has domain "process", errno as its code (ECANCELED after a terminate()), and the path
    // with the system's words.
    Result<> start();

    // Resumes once the child has ended and its output is whole. Awaited by one, after a start that succeeded.
    Task<> ended();

    // The program that children are started through from now on; its full path. Empty, as at first: there is none.
    static void setKeeper(const QString &program);

    // Ends every child that runs, with all that is its, for a program that is about to leave. With a keeper they are
    // asked first and then killed: blocks for a second at most.
    static void killAll();

    // For a program that is about to be stopped, and goes on later: every child that runs is stopped with all that is
    // its, or goes on. Where there is a keeper, what works for others (a question to the owner, the clipboard) goes on
    // meanwhile, and scripts get a moment to let go of keys and locks: blocks for as long as that takes.
    static void stopAll();
    static void continueAll();

    // Asks the group to end, and kills it when the child is still there after the grace. Any number of times.
    void terminate();

    bool isRunning() const { return m_child != nullptr; }
    int status() const { return m_status; }          // exit status, or the number of the signal that ended it
    int signal() const { return m_signal; }          // that number; 0 when it was none
    bool overflowed() const { return m_overflowed; } // it was killed for printing more than the limit
    qint64 outputLimit() const { return m_command.outputLimit; }

    // With a keeper: what it has left running when it ended by itself, or what could not be ended with it because it is
    // another user's, "name (process)" each.
    QStringList left() const { return m_left; }

    QByteArray takeOutput() { return std::exchange(m_output, {}); }
    QByteArray takeErrors() { return std::exchange(m_errors, {}); }

private:
    struct Child;
    explicit Process(Command command);
    enum class Stream { output, errors };
    void feed();
    void receive(Stream stream);
    ssize_t take(Stream stream, int pipe);
    Result<std::unique_ptr<Child>> spawnChild(const SpawnRequest &request) const;
    void finish();
    void finishKept(std::shared_ptr<Child> child);
    void killGroup();

    Command m_command;
    std::unique_ptr<Child> m_child; // present while it runs
    QByteArray m_output;
    QByteArray m_errors;
    QStringList m_left;
    qsizetype m_written = 0; // of the input
    qint64 m_received = 0;
    int m_status = 0;
    int m_signal = 0;
    bool m_refused = false; // terminated before its start
    bool m_overflowed = false;
    Completion m_ended;
};

} // namespace ombru
