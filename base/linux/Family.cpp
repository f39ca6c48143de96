#include "base/Family.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
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
constexpr auto KILLING = 3s; // a killed process is gone at once, unless a device keeps it
constexpr int MOST_ROUNDS = 50;
constexpr int MOST_KILLS = 500; // looks at the children in a row

struct Stat {
    FamilyMember member;
    pid_t parent = 0;
    pid_t session = 0;
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

// None when there is no such process, or it has ended and only its parent has not heard yet. One whose first thread has
// ended looks so, too, as long as it has others.
std::optional<Stat> statOf(pid_t pid) {
    const auto line = contentOf(pid, "/stat");
    const auto open = line.find('(');
    const auto close = line.rfind(')'); // the name in between may hold anything
    if (open == std::string::npos || close == std::string::npos)
        return std::nullopt;
    Stat stat{{pid, 0, line.substr(open + 1, close - open - 1)}, 0, 0};
    char state = 0;
    int threads = 0;
    const int fields = std::sscanf(line.c_str() + close + 1,
                                   " %c %d %*d %d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %d %*d %llu",
                                   &state, &stat.parent, &stat.session, &threads, &stat.member.start);
    const bool lives = (state != 'Z' && state != 'X') || threads > 1;
    return fields == 5 && lives ? std::optional(stat) : std::nullopt;
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
        if (const auto stat = statOf(pid))
            all.emplace(pid, *stat);
    return all;
}

bool hasVariable(pid_t pid, const std::string &variable) {
    const auto environment = '\0' + contentOf(pid, "/environ");
    return environment.find('\0' + variable + '\0') != std::string::npos;
}

bool isStillThere(const FamilyMember &member) {
    const auto now = statOf(member.pid);
    return now && now->member.start == member.start;
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

} // namespace

Family Family::ofThisProcess(std::string ownersMark) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    return {::getpid(), 0, std::move(ownersMark)};
}

std::vector<FamilyMember> Family::members() const {
    const auto all = allProcesses();
    std::map<pid_t, bool> known{{::getpid(), false}};
    if (m_ancestor > 0)
        known[m_ancestor] = true;
    // By descent; the answer for one that was met is kept. A circle, which only numbers given anew could make, has
    // none.
    const std::function<bool(pid_t)> belongs = [&](pid_t pid) {
        const auto stat = all.find(pid);
        if (stat == all.end())
            return false;
        if (const auto answer = known.find(pid); answer != known.end())
            return answer->second;
        known[pid] = false;
        const bool ours = (m_session > 0 && stat->second.session == m_session) || belongs(stat->second.parent);
        return known[pid] = ours && (m_ownersMark.empty() || !hasVariable(pid, m_ownersMark));
    };
    std::vector<FamilyMember> members;
    for (const auto &[pid, stat] : all)
        if (pid != ::getpid() && belongs(pid))
            members.push_back(stat.member);
    return members;
}

std::vector<FamilyMember> Family::stopAll() const {
    std::set<pid_t> stopped;
    for (int round = 0;; ++round) {
        auto found = members();
        bool all = true;
        for (const auto &member : found)
            if (stopped.insert(member.pid).second) {
                signalTo(member, SIGSTOP);
                all = false;
            }
        if (all || round == MOST_ROUNDS)
            return found;
    }
}

std::vector<pid_t> Family::livingChildren(const std::set<pid_t> &children) const {
    std::vector<pid_t> living;
    for (const pid_t child : children)
        if (statOf(child) && (m_ownersMark.empty() || !hasVariable(child, m_ownersMark)))
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

// Without a pause and without a look at all processes, so that one that forks and ends is met between the two: what has
// lost its parent comes here.
void Family::killAll(const Deadline &reap) const {
    if (m_ancestor != ::getpid())
        return;
    for (int round = 0; round < MOST_KILLS; ++round) {
        reap(); // or those that have ended would be looked at again and again
        const auto living = livingChildren(ownChildren());
        if (living.empty())
            return;
        for (const pid_t child : living)
            ::kill(child, SIGKILL); // not waited for yet: the number is still its own
    }
}

void Family::end(const Deadline &deadline) const {
    const auto signalAll = [this](std::initializer_list<int> signals) {
        const auto all = stopAll();
        for (const int signal : signals)
            for (const auto &member : all)
                signalTo(member, signal);
    };
    // One that is stopped hears the request only when it goes on.
    signalAll({SIGTERM, SIGCONT});
    while (!isOver()) {
        const auto now = std::chrono::steady_clock::now();
        const auto end = deadline();
        if (now >= end + KILLING)
            return;
        if (now >= end) {
            killAll(deadline);
            signalAll({SIGKILL});
        }
        std::this_thread::sleep_for(GLANCE);
    }
}

} // namespace ombru
