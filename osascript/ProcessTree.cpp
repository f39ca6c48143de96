#include "osascript/ProcessTree.h"

#include "platform/linux/system/ProcessStat.h"

#include <QDir>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <optional>
#include <thread>
#include <unistd.h>
#include <vector>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr auto GRACE = std::chrono::seconds(1);
constexpr auto GLANCE = std::chrono::milliseconds(5);

std::optional<ProcessStat> statOf(pid_t pid) {
    return processStat(u"/proc/%1"_s.arg(pid));
}

std::vector<pid_t> childrenOf(pid_t parent) {
    std::vector<pid_t> children;
    for (const QString &name : QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        if (const auto stat = name.front().isDigit() ? statOf(name.toInt()) : std::nullopt;
            stat && stat->parent == parent && stat->group == ::getpgrp())
            children.push_back(name.toInt());
    return children;
}

// Stopped first, so that nobody starts another one while they are listed.
void stopTree(pid_t root, std::vector<pid_t> &stopped) {
    ::kill(root, SIGSTOP);
    stopped.push_back(root);
    for (const pid_t child : childrenOf(root))
        stopTree(child, stopped);
}

void signalAll(const std::vector<pid_t> &processes, int signal) {
    for (const pid_t process : processes)
        ::kill(process, signal);
}

bool endInTime(const std::vector<pid_t> &processes) {
    const auto hasEnded = [](pid_t process) {
        const auto state = statOf(process);
        return !state || state->ended;
    };
    const auto end = std::chrono::steady_clock::now() + GRACE;
    while (!std::ranges::all_of(processes, hasEnded)) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(GLANCE);
    }
    return true;
}

} // namespace

void endTree(pid_t child) {
    std::vector<pid_t> processes;
    stopTree(child, processes);
    signalAll(processes, SIGTERM);
    signalAll(processes, SIGCONT);
    if (endInTime(processes))
        return;
    signalAll(processes, SIGKILL);
    endInTime(processes); // not even that helps while a disk keeps one busy
}

} // namespace ombru
