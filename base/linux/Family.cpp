#include "base/Family.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace ombru {

using namespace std::chrono_literals;

namespace {

constexpr auto GLANCE = 5ms;
constexpr auto KILLING = 3s;    // a killed process is gone at once, unless a device keeps it
constexpr auto STOPPING = 1s;   // the same for one that is stopped, or the start of a child
constexpr int MOST_LOOKS = 10;  // through all processes, in a row
constexpr int MOST_KILLS = 500; // looks at the children in a row

struct Stat {
    FamilyMember member;
    pid_t parent = 0;
    pid_t group = 0;
    pid_t session = 0;
    char state = 0; // a letter of proc(5)
    bool lives = false;
};

std::string contentOf(pid_t pid, const char *file) {
    const std::string path = "/proc/" + std::to_string(pid) + file;
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::string content;
    std::array<char, 4096> piece;
    ssize_t got = 0;
    while (descriptor >= 0 && (got = ::read(descriptor, piece.data(), piece.size())) > 0)
        content.append(piece.data(), static_cast<std::size_t>(got));
    if (descriptor >= 0)
        ::close(descriptor);
    return content;
}

// None when there is no such process. One that has ended, and only its parent has not heard yet, does not live. One
// whose first thread has ended looks so, too, as long as it has others.
std::optional<Stat> statOf(pid_t pid) {
    const auto line = contentOf(pid, "/stat");
    const auto open = line.find('(');
    const auto close = line.rfind(')'); // the name in between may hold anything
    if (open == std::string::npos || close == std::string::npos)
        return std::nullopt;
    Stat stat{{pid, 0, line.substr(open + 1, close - open - 1)}};
    char &state = stat.state;
    int threads = 0;
    const int fields = std::sscanf(line.c_str() + close + 1,
                                   " %c %d %d %d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %d %*d %llu",
                                   &state, &stat.parent, &stat.group, &stat.session, &threads, &stat.member.start);
    stat.lives = (state != 'Z' && state != 'X') || threads > 1;
    return fields == 6 ? std::optional(stat) : std::nullopt;
}

bool lives(pid_t pid) {
    const auto stat = statOf(pid);
    return stat && stat->lives;
}

bool isStopped(const Stat &stat) {
    return stat.state == 'T' || stat.state == 't'; // by a signal, by a debugger
}

// Closed before what it names is looked at: one descriptor is enough then.
std::vector<pid_t> numbersIn(const char *path) {
    std::vector<pid_t> numbers;
    DIR *directory = ::opendir(path);
    while (const auto *entry = directory ? ::readdir(directory) : nullptr)
        if (const pid_t number = std::atoi(entry->d_name); number > 0)
            numbers.push_back(number);
    if (directory)
        ::closedir(directory);
    return numbers;
}

std::map<pid_t, Stat> allProcesses() {
    std::map<pid_t, Stat> all;
    for (const pid_t pid : numbersIn("/proc"))
        if (const auto stat = statOf(pid); stat && stat->lives)
            all.emplace(pid, *stat);
    return all;
}

bool hasVariable(pid_t pid, const std::string &variable) {
    const auto environment = '\0' + contentOf(pid, "/environ");
    return environment.find('\0' + variable + '\0') != std::string::npos;
}

bool isStillThere(const FamilyMember &member) {
    const auto now = statOf(member.pid);
    return now && now->lives && now->member.start == member.start;
}

// The number may be another process's by now. Where descriptors have run out, it is compared and then used: that may
// miss what happens in between, but a stop has to end what there is.
void signalTo(const FamilyMember &member, int signal) {
    const int process = static_cast<int>(::syscall(SYS_pidfd_open, member.pid, 0));
    const bool isSeen = process >= 0 && isStillThere(member);
    if (isSeen)
        ::syscall(SYS_pidfd_send_signal, process, signal, nullptr, 0);
    if (process >= 0)
        ::close(process);
    if (!isSeen && isStillThere(member))
        ::kill(member.pid, signal);
}

bool goesOn(const FamilyMember &member) {
    const auto stat = statOf(member.pid);
    return stat && stat->lives && !isStopped(*stat);
}

// Whether a set of signals in the process's status has that one: "SigBlk" are those that its first thread blocks,
// "ShdPnd" those that were sent to the process as a whole and not taken yet.
bool hasSignal(pid_t pid, const char *set, int signal) {
    const auto field = '\n' + std::string(set) + ':';
    const auto status = contentOf(pid, "/status");
    const auto at = status.find(field);
    return at != std::string::npos &&
           (std::strtoull(status.c_str() + at + field.size(), nullptr, 16) >> (signal - 1) & 1) != 0;
}

// This process's, those that have ended and were not waited for included. The kernel's own list misses none, unlike a
// walk through /proc.
std::set<pid_t> ownChildren() {
    std::set<pid_t> children;
    for (const pid_t thread : numbersIn("/proc/self/task")) {
        std::istringstream list(contentOf(::getpid(), ("/task/" + std::to_string(thread) + "/children").c_str()));
        for (pid_t child = 0; list >> child;)
            children.insert(child);
    }
    return children;
}

// One that forks and ends again and again leaves these, if nothing else.
std::set<pid_t> groupsOfEndedChildren() {
    std::set<pid_t> groups;
    for (const pid_t child : ownChildren())
        if (const auto stat = statOf(child); stat && !stat->lives)
            groups.insert(stat->group);
    return groups;
}

} // namespace

Family Family::ofThisProcess(std::string ownersMark) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    return {::getpid(), 0, std::move(ownersMark)};
}

std::vector<FamilyMember> Family::members() const {
    return look().members;
}

bool Family::isOwners(pid_t process) const {
    return !m_ownersMark.empty() && hasVariable(process, m_ownersMark);
}

Family::Look Family::look(const Spared &spared) const {
    enum class Of { US, OTHERS, NOBODY_SEEN }; // a parent that has ended in the middle of the look tells nothing
    const auto all = allProcesses();
    std::map<pid_t, Of> known{{0, Of::OTHERS}, {::getpid(), Of::OTHERS}};
    if (m_ancestor > 0)
        known[m_ancestor] = Of::US;
    // By descent; the answer for one that was met is kept. A circle, which only numbers given anew could make, has
    // none.
    const std::function<Of(pid_t)> whose = [&](pid_t pid) {
        if (const auto answer = known.find(pid); answer != known.end())
            return answer->second;
        const auto stat = all.find(pid);
        if (stat == all.end())
            return Of::NOBODY_SEEN;
        known[pid] = Of::NOBODY_SEEN;
        const bool isOfSession = m_session > 0 && stat->second.session == m_session;
        auto of = isOfSession ? Of::US : whose(stat->second.parent);
        if (of != Of::OTHERS && isOwners(pid))
            of = Of::OTHERS;
        return known[pid] = of;
    };
    Look look;
    std::set<pid_t> others{::getpgrp()};
    for (const auto &[pid, stat] : all) {
        const auto of = pid == ::getpid() ? Of::OTHERS : whose(pid);
        const bool isMember = of == Of::US && !(spared && spared(pid)); // what it has started may be one
        if (isMember) {
            look.members.push_back(stat.member);
            look.groups.insert(stat.group);
        } else if (of != Of::NOBODY_SEEN) {
            others.insert(stat.group);
        }
    }
    if (m_ancestor == ::getpid())
        look.groups.merge(groupsOfEndedChildren());
    for (const pid_t group : others)
        look.groups.erase(group);
    return look;
}

// By groups, too: no look meets one that forks and ends faster than that, but the kernel lets no fork slip through
// between the members of a group.
Family::Look Family::stopAll(const Spared &spared) const {
    std::set<pid_t> stopped;
    std::set<pid_t> stoppedGroups;
    for (int round = 0;; ++round) {
        auto found = look(spared);
        bool all = true;
        for (const pid_t group : found.groups)
            if (stoppedGroups.insert(group).second) {
                ::kill(-group, SIGSTOP);
                all = false;
            }
        for (const auto &member : found.members)
            if (stopped.insert(member.pid).second) {
                signalTo(member, SIGSTOP);
                all = false;
            }
        if (all || round == MOST_LOOKS)
            return found;
    }
}

void Family::announceStop(const Spared &spared) const {
    for (const auto &member : look(spared).members)
        if (hasSignal(member.pid, "SigBlk", SIGTSTP))
            signalTo(member, SIGTSTP);
}

bool Family::isReadyToStop(const Spared &spared) const {
    return std::ranges::none_of(look(spared).members, [](const FamilyMember &member) {
        return goesOn(member) && hasSignal(member.pid, "ShdPnd", SIGTSTP);
    });
}

// A signal is there at once, but takes effect when it is its receiver's turn on a processor.
void Family::stop(const Spared &spared) const {
    const auto end = std::chrono::steady_clock::now() + STOPPING;
    while (std::ranges::any_of(stopAll(spared).members, goesOn) && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(GLANCE);
}

void Family::goOn() const {
    for (const auto &member : look().members)
        signalTo(member, SIGCONT);
}

std::vector<pid_t> Family::livingChildren(const std::set<pid_t> &children) const {
    std::vector<pid_t> living;
    for (const pid_t child : children)
        if (lives(child) && !isOwners(child))
            living.push_back(child);
    return living;
}

// One that forks and ends again and again may be in no single look through /proc, and neither is one whose parent ends
// meanwhile. Of this process's own family the orphans come here: none is left when nobody came while all were looked
// at.
bool Family::isOver() const {
    const auto before = ownChildren();
    if (!members().empty())
        return false;
    const bool isOwn = m_ancestor == ::getpid();
    return isOwn ? livingChildren(before).empty() && ownChildren() == before : members().empty();
}

// Without a pause and without a look at all processes, so that one that forks and ends, each time in another group, is
// met between the two: what has lost its parent comes here.
void Family::killChildren(const Deadline &reap) const {
    if (m_ancestor != ::getpid())
        return;
    std::set<pid_t> killed;
    for (int round = 0; round < MOST_KILLS; ++round) {
        reap(); // or those that have ended would be looked at again and again
        bool isAnyLeft = false;
        for (const pid_t child : ownChildren()) {
            if (isOwners(child) || (killed.contains(child) && !lives(child)))
                continue;
            ::kill(child, SIGKILL); // not waited for yet: the number is still its own
            killed.insert(child);
            isAnyLeft = true;
        }
        if (!isAnyLeft)
            return;
    }
}

void Family::killAll() const {
    const auto all = stopAll();
    for (const pid_t group : all.groups)
        ::kill(-group, SIGKILL);
    for (const auto &member : all.members)
        signalTo(member, SIGKILL);
}

void Family::end(const Deadline &deadline) const {
    const auto all = stopAll();
    // One that is stopped hears the request only when it goes on.
    for (const int signal : {SIGTERM, SIGCONT})
        for (const auto &member : all.members)
            signalTo(member, signal);
    while (!isOver()) {
        const auto now = std::chrono::steady_clock::now();
        const auto end = deadline();
        if (now >= end + KILLING)
            return;
        if (now >= end) {
            killAll();
            killChildren(deadline);
        }
        std::this_thread::sleep_for(GLANCE);
    }
}

} // namespace ombru
