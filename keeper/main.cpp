// ombru-keeper: starts a program, and sees to it that all of it ends: when that is asked for, when whoever asked for
// the program has died, or when the program was killed. Ends as the program did. How it is started and talked to:
// base/KeeperWire.h. One thread; no framework, so that it costs little.
#include "base/Family.h"
#include "base/KeeperWire.h"
#include "base/OpenFiles.h"
#include "base/Program.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <linux/close_range.h>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ombru::keeper {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds BRIEF(BRIEF_MILLISECONDS);
constexpr milliseconds AFTERWARDS(1000); // what runs after a forced end is waited for so long
constexpr int ON_THEIR_WAY_OUT = 20;     // milliseconds that those have which end with the program
constexpr std::size_t MOST_NAMED = 50;   // of what was left running
constexpr int NO_WAY_TO_START = 127;
constexpr milliseconds LETTING_GO(LETTING_GO_MILLISECONDS);
constexpr int GLANCE = 5; // milliseconds

// Of ours, those that work for others than the script: the owner answers, and others paste. By the program's file,
// which nobody else can be.
constexpr std::array<std::string_view, 6> NEVER_STOPPED{"ombru-keeper", "ombru-consent-prompt", "ombru-clipboard",
                                                        "ombru-dialog", "ombru-input-release",  "ombru-secrets"};

std::string programOf(const std::string &process) {
    std::array<char, PATH_MAX> path{};
    const auto size = ::readlink(("/proc/" + process + "/exe").c_str(), path.data(), path.size());
    return {path.data(), std::size_t(std::max<ssize_t>(size, 0))};
}

bool isNeverStopped(pid_t process) {
    static const auto own = programOf("self");
    const auto place = own.substr(0, own.rfind('/') + 1);
    const auto program = programOf(std::to_string(process));
    return std::ranges::any_of(NEVER_STOPPED,
                               [&](std::string_view name) { return program == place + std::string(name); });
}

// A word that nobody guesses.
std::string newWord() {
    std::array<unsigned char, 8> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) < 0)
        bytes[0] = static_cast<unsigned char>(::getpid());
    std::string word;
    for (const auto byte : bytes) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", byte);
        word += digits.data();
    }
    return word;
}

void useNullDevice() {
    const int nothing = ::open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(nothing, stream);
    ::close(nothing);
}

// Default signals, and an end by SIGKILL when the keeper is killed.
void becomeChild(pid_t keeper) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != keeper)
        ::_exit(NO_WAY_TO_START);
    ::setsid();
    for (const int signal : {SIGINT, SIGHUP, SIGQUIT, SIGPIPE})
        std::signal(signal, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

class Keeper {
public:
    explicit Keeper(const char *afterwards) : m_afterwards(afterwards) {}

    // Gives how the program has ended, as waitpid() does. Nothing when it could not be started.
    std::optional<int> keep(char **command);

private:
    bool start(char **command);
    [[noreturn]] void becomeTheProgram(char **command, int failing) const;
    void watchSignals();
    void listen(int timeout);
    void hear();
    void obey(Wish wish);
    void stopWhenReady();
    void endSoon(milliseconds grace);
    bool programHasEnded();
    void endAll();
    void runAfterwards() const;
    std::string whatIsLeft() const;

    const char *m_afterwards;
    std::string m_word = newWord();
    Family m_family = Family::ofThisProcess(openedMark(m_word));
    int m_signals = -1;
    int m_endOfInherited = LIFELINE + 1; // the first number behind what the program inherits
    pid_t m_program = 0;
    int m_status = SIGKILL; // of the program once it has ended
    bool m_ended = false;
    bool m_lifelineIsOpen = true;                            // whoever wants the program lives
    Clock::time_point m_deadline = Clock::time_point::max(); // of an end that is under way
    std::optional<Clock::time_point> m_stopAt;               // at the latest; while all are about to be stopped
};

void Keeper::becomeTheProgram(char **command, int failing) const {
    for (int number = LIFELINE; number + 1 < m_endOfInherited; ++number)
        ::dup2(number + 1, number);
    ::close_range(unsigned(m_endOfInherited - 1), ~0U, CLOSE_RANGE_CLOEXEC);
    ::execv(command[0], command);
    const int error = errno;
    [[maybe_unused]] const auto told = ::write(failing, &error, sizeof error);
    ::_exit(NO_WAY_TO_START);
}

// Reports whether it runs.
bool Keeper::start(char **command) {
    std::array<int, 2> failing{};
    Started started;
    if (::pipe2(failing.data(), O_CLOEXEC) != 0) {
        started.error = errno;
    } else {
        const pid_t keeper = ::getpid();
        ::setenv(WORD_VARIABLE, m_word.c_str(), 1);
        m_program = ::fork();
        if (m_program < 0)
            started.error = errno;
        if (m_program == 0) {
            becomeChild(keeper);
            becomeTheProgram(command, failing[1]);
        }
        ::close(failing[1]);
        [[maybe_unused]] const auto got = ::read(failing[0], &started.error, sizeof started.error);
        ::close(failing[0]);
    }
    started.process = started.error == 0 ? m_program : 0;
    ::send(LIFELINE, &started, sizeof started, MSG_NOSIGNAL);
    return started.error == 0;
}

// Those of the terminal are not for the keeper.
void Keeper::watchSignals() {
    for (const int signal : {SIGINT, SIGHUP, SIGQUIT})
        std::signal(signal, SIG_IGN);
    sigset_t heard;
    ::sigemptyset(&heard);
    ::sigaddset(&heard, SIGCHLD);
    ::sigaddset(&heard, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &heard, nullptr);
    m_signals = ::signalfd(-1, &heard, SFD_CLOEXEC | SFD_NONBLOCK);
}

// Until something happens, or so many milliseconds have passed.
void Keeper::listen(int timeout) {
    std::array<pollfd, 2> waits{pollfd{m_signals, POLLIN, 0}, {m_lifelineIsOpen ? LIFELINE : -1, POLLIN, 0}};
    if (::poll(waits.data(), waits.size(), timeout) <= 0)
        return;
    if (waits[1].revents != 0)
        hear();
    signalfd_siginfo signal{};
    while (waits[0].revents != 0 && ::read(m_signals, &signal, sizeof signal) > 0)
        if (signal.ssi_signo == SIGTERM)
            endSoon(BRIEF);
}

void Keeper::hear() {
    Wish wish;
    const auto got = ::recv(LIFELINE, &wish, sizeof wish, MSG_DONTWAIT);
    if (got == sizeof wish)
        return obey(wish);
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    m_lifelineIsOpen = false;
    endSoon(BRIEF);
}

void Keeper::obey(Wish wish) {
    m_stopAt.reset();
    if (wish.what == Wish::For::end)
        return endSoon(milliseconds(wish.graceMilliseconds));
    if (m_deadline != Clock::time_point::max())
        return; // whoever waits hears of the end
    if (wish.what == Wish::For::goOn)
        return m_family.goOn();
    m_family.announceStop(isNeverStopped);
    m_stopAt = Clock::now() + LETTING_GO;
}

void Keeper::stopWhenReady() {
    if (!m_family.isReadyToStop(isNeverStopped) && Clock::now() < *m_stopAt)
        return;
    m_stopAt.reset();
    m_family.stop(isNeverStopped);
    const std::string_view word = STOPPED;
    ::send(LIFELINE, word.data(), word.size(), MSG_NOSIGNAL);
}

void Keeper::endSoon(milliseconds grace) {
    m_deadline = std::min(m_deadline, Clock::now() + grace);
}

bool Keeper::programHasEnded() {
    int status = 0;
    for (pid_t ended = 0; (ended = ::waitpid(-1, &status, WNOHANG)) > 0;) // orphans that came to the keeper, too
        if (ended == m_program) {
            m_ended = true;
            m_status = status;
        }
    return m_ended;
}

void Keeper::endAll() {
    m_family.end([this] {
        listen(0);
        // What the program has left behind gets no more time than that.
        if (programHasEnded())
            endSoon(BRIEF);
        return m_deadline;
    });
    programHasEnded();
    if (*m_afterwards != '\0')
        runAfterwards();
}

// A display that does not answer yet has it go on alone, with nothing of ours open.
void Keeper::runAfterwards() const {
    const pid_t keeper = ::getpid();
    const pid_t process = ::fork();
    if (process == 0) {
        becomeChild(keeper);
        ::prctl(PR_SET_PDEATHSIG, 0);
        ::close_range(STDERR_FILENO + 1, ~0U, 0);
        ::execl(m_afterwards, m_afterwards, nullptr);
        ::_exit(NO_WAY_TO_START);
    }
    const auto end = Clock::now() + AFTERWARDS;
    while (process > 0 && ::waitpid(process, nullptr, WNOHANG) == 0 && Clock::now() < end)
        ::poll(nullptr, 0, 2);
}

std::string Keeper::whatIsLeft() const {
    if (m_family.members().empty())
        return {};
    ::poll(nullptr, 0, ON_THEIR_WAY_OUT);
    std::string left;
    std::size_t named = 0;
    for (const auto &member : m_family.members())
        if (named++ < MOST_NAMED)
            left += member.name + " (" + std::to_string(member.pid) + ")\n";
    return left;
}

std::optional<int> Keeper::keep(char **command) {
    while (::fcntl(m_endOfInherited, F_GETFD) >= 0)
        ++m_endOfInherited;
    ::fcntl(LIFELINE, F_SETFD, FD_CLOEXEC);
    watchSignals();
    if (m_signals < 0 || !start(command))
        return std::nullopt;
    // Whoever reads what the program writes hears of the program's end.
    useNullDevice();
    for (int number = LIFELINE + 1; number < m_endOfInherited; ++number)
        ::close(number);

    while (!programHasEnded() && m_deadline == Clock::time_point::max()) {
        listen(m_stopAt ? GLANCE : -1);
        if (m_stopAt && m_deadline == Clock::time_point::max())
            stopWhenReady();
    }
    const bool byItself = m_ended && WIFEXITED(m_status) && m_deadline == Clock::time_point::max();
    if (!byItself)
        endAll();
    const auto farewell = FAREWELL + whatIsLeft();
    ::send(LIFELINE, farewell.data(), farewell.size(), MSG_NOSIGNAL);
    return m_status;
}

// By the same signal, but without a picture of this one's memory.
int endAs(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    const int number = WTERMSIG(status);
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    std::signal(number, SIG_DFL);
    sigset_t only;
    ::sigemptyset(&only);
    ::sigaddset(&only, number);
    ::sigprocmask(SIG_UNBLOCK, &only, nullptr);
    ::raise(number);
    return 128 + number;
}

} // namespace
} // namespace ombru::keeper

int main(int argc, char **argv) {
    ombru::beginProgram();
    if (argc < 4 || ::fcntl(ombru::keeper::LIFELINE, F_GETFD) < 0) {
        std::fputs("ombru-keeper: for ombru to start, with a lifeline\n", stderr);
        return 2;
    }
    ombru::limitFiles(std::strtoul(argv[1], nullptr, 10));
    const auto status = ombru::keeper::Keeper(argv[2]).keep(argv + 3);
    return status ? ombru::keeper::endAs(*status) : ombru::keeper::NO_WAY_TO_START;
}
