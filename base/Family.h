// The processes that descend from one, whatever group or session they are in by now. What was opened for the owner, and
// what that has started, is not counted: it has a mark in its environment. Plain C++, because the keeper has no
// framework. Any one thread.
#pragma once
#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

namespace ombru {

struct FamilyMember {
    pid_t pid = 0;
    unsigned long long start = 0; // ticks since the computer's start: tells it from a later one with the same number
    std::string name;
};

class Family {
public:
    using Deadline = std::function<std::chrono::steady_clock::time_point()>;

    // This process's own. `ownersMark` is a "NAME=value" of the environment. From here on those whose parent has ended
    // become this process's children, so that descent tells all of them.
    static Family ofThisProcess(std::string ownersMark);

    // A process and what descends from it.
    static Family ofProcess(pid_t process) { return {process, 0, {}}; }

    // All that is still in a session whose leader may have ended, and what descends from that.
    static Family ofSession(pid_t session) { return {0, session, {}}; }

    // Those that have not ended.
    std::vector<FamilyMember> members() const;

    // Asks all to end and kills those that are there at the deadline, which is asked for now and then, and may wait for
    // children of this process that have ended. Nobody can start another one in between: all are stopped before they
    // are asked or killed. Returns once none is left, or a process that cannot be killed, because a device keeps it,
    // has had its time.
    void end(const Deadline &deadline) const;

    // Whether a process is to go on when the others are stopped.
    using Spared = std::function<bool(pid_t process)>;

    // Tells those that they are about to be stopped (SIGTSTP) who block that, to let go of what others want before:
    // they take it when they are ready.
    void announceStop(const Spared &spared) const;
    bool isReadyToStop(const Spared &spared) const;
    void stop(const Spared &spared) const; // returns once they are stopped, or had their time
    void goOn() const;

private:
    Family(pid_t ancestor, pid_t session, std::string ownersMark)
        : m_ancestor(ancestor), m_session(session), m_ownersMark(std::move(ownersMark)) {}
    // What one look through all processes has found.
    struct Look {
        std::vector<FamilyMember> members;
        std::set<pid_t> groups; // process groups of which nobody else is, also of those that have just ended
    };
    Look look(const Spared &spared = {}) const;
    Look stopAll(const Spared &spared = {}) const;
    bool isOwners(pid_t process) const; // was opened for the owner
    std::vector<pid_t> livingChildren(const std::set<pid_t> &children) const;
    bool isOver() const;
    void killChildren(const Deadline &reap) const;
    void killAll() const;

    pid_t m_ancestor; // 0: none; a member unless it is this process
    pid_t m_session;  // 0: none
    std::string m_ownersMark;
};

} // namespace ombru
