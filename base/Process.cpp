#include "base/Process.h"

#include "base/Background.h"
#include "base/ChildExit.h"
#include "base/Keeping.h"
#include "base/LargePages.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <map>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <thread>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype CHUNK = 1 << 20;
constexpr qsizetype SMALLEST_READ = 4096;

// The main thread's.
std::map<pid_t, const Kept *> running; // our children that were not waited for yet; with their keeper if they have one
QString keeperProgram;

constexpr std::chrono::seconds LEAVING(1);
constexpr std::chrono::seconds STOPPING(5); // longer than a keeper gives its program
constexpr std::chrono::milliseconds GLANCE(5);

// By its keeper, or where it has none, by a signal to its group.
void tellAll(void (*tell)(const Kept &), int signal) {
    for (const auto &[child, kept] : running) {
        if (kept)
            tell(*kept);
        else
            ::kill(-child, signal);
    }
}

bool hasEnded(pid_t child) {
    siginfo_t info{};
    return ::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == child;
}

void makeNonBlocking(const Descriptor &descriptor) {
    ::fcntl(descriptor.number(), F_SETFL, O_NONBLOCK);
}

qsizetype waiting(int descriptor) {
    int bytes = 0;
    return ::ioctl(descriptor, FIONREAD, &bytes) == 0 ? bytes : 0;
}

// One of this process's ends of the child's pipes, with its readiness.
class End {
public:
    template <class Ready>
    void open(Descriptor descriptor, QSocketNotifier::Type type, Ready ready) {
        makeNonBlocking(descriptor);
        m_descriptor = std::move(descriptor);
        m_notifier = std::make_unique<QSocketNotifier>(m_descriptor.number(), type);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), std::move(ready));
    }
    // The notifier stays: this may be called from its own signal.
    void close() {
        if (m_notifier)
            m_notifier->setEnabled(false);
        m_descriptor.close();
    }
    int number() const { return m_descriptor.number(); }
    bool isOpen() const { return m_descriptor.isOpen(); }

private:
    Descriptor m_descriptor;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

// Reads up to `most` bytes behind what `bytes` holds; less than 1 as read() does.
ssize_t readBehind(QByteArray &bytes, int descriptor, qsizetype most) {
    const auto held = bytes.size();
    // Room that is not written to costs nothing, and moving megabytes does.
    if (bytes.capacity() < held + most)
        reserveInLargePages(bytes, std::max(held + most, (bytes.capacity() < 16 * CHUNK ? 8 : 2) * bytes.capacity()));
    bytes.resize(held + most);
    const auto got = ::read(descriptor, bytes.data() + held, static_cast<size_t>(most));
    bytes.resize(held + std::max<ssize_t>(got, 0));
    return got;
}

// Nothing can be moved now; the end will be ready again.
bool later(ssize_t result) {
    return result < 0 && (errno == EAGAIN || errno == EINTR);
}

} // namespace

struct Process::Child {
    pid_t pid = 0;
    std::optional<Kept> kept;
    bool ending = false; // it was asked to end
    End exit;            // readable once the child has ended
    End in;
    End out;
    End err;
    Timer kill;
};

std::shared_ptr<Process> Process::make(Command command) {
    return std::shared_ptr<Process>(new Process(std::move(command)));
}

Process::Process(Command command) : m_command(std::move(command)) {}

void Process::setKeeper(const QString &program) {
    keeperProgram = program;
}

void Process::killAll() {
    tellAll(endKeptSoon, SIGKILL);
    const auto end = std::chrono::steady_clock::now() + LEAVING;
    const auto isOver = [](const auto &entry) { return !entry.second || hasEnded(entry.first); };
    while (!std::ranges::all_of(running, isOver) && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(GLANCE);
}

void Process::stopAll() {
    tellAll(stopKept, SIGSTOP);
    const auto end = std::chrono::steady_clock::now() + STOPPING;
    for (const auto &[child, kept] : running)
        if (kept)
            awaitStopped(*kept, end);
}

void Process::continueAll() {
    tellAll(continueKept, SIGCONT);
}

Process::~Process() {
    if (!m_child)
        return;
    killGroup();
    running.erase(m_child->pid);
    // Without this the child would stay a zombie; on its way out a large one may take its time.
    runAlone([pid = m_child->pid] { ::waitpid(pid, nullptr, 0); });
}

Result<std::unique_ptr<Process::Child>> Process::spawnChild(const SpawnRequest &request) const {
    auto child = std::make_unique<Child>();
    if (keeperProgram.isEmpty()) {
        const auto pid = spawn(request);
        if (!pid)
            return std::unexpected(pid.error());
        child->pid = *pid;
    } else {
        auto kept = spawnKept(keeperProgram, m_command.afterForcedEnd, request);
        if (!kept)
            return std::unexpected(kept.error());
        child->pid = kept->keeper;
        child->kept = std::move(*kept);
    }
    return child;
}

Result<> Process::start() {
    Q_ASSERT(!m_child);
    if (m_refused)
        return std::unexpected(Failure{u"process"_s, ECANCELED, m_command.program + u": ended before its start"_s});

    Pipe in;
    Pipe out;
    Pipe err;
    for (auto *pipe : {m_command.input ? &in : nullptr, &out, &err}) {
        if (!pipe)
            continue;
        auto made = makePipe();
        if (!made)
            return std::unexpected(made.error());
        *pipe = std::move(*made);
    }
    auto child = spawnChild({m_command.program, m_command.arguments, m_command.directory, m_command.environment,
                             in.reading.number(), out.writing.number(), err.writing.number(), m_command.inherited});
    if (!child)
        return std::unexpected(child.error());
    const pid_t pid = (*child)->pid;
    auto exit = watchExit(pid, m_command.program);
    if (!exit) {
        if (!(*child)->kept)
            ::kill(-pid, SIGKILL);
        child->reset(); // which a keeper hears
        ::waitpid(pid, nullptr, 0);
        return std::unexpected(exit.error());
    }

    m_child = std::move(*child);
    running.emplace(pid, m_child->kept ? &*m_child->kept : nullptr);
    m_child->exit.open(std::move(*exit), QSocketNotifier::Read, [this] { finish(); });
    m_child->out.open(std::move(out.reading), QSocketNotifier::Read, [this] { receive(Stream::output); });
    m_child->err.open(std::move(err.reading), QSocketNotifier::Read, [this] { receive(Stream::errors); });
    if (m_command.input) {
        m_child->in.open(std::move(in.writing), QSocketNotifier::Write, [this] { feed(); });
        feed();
    }
    return {};
}

Task<> Process::ended() {
    const auto self = shared_from_this();
    co_await m_ended;
}

void Process::terminate() {
    if (!m_child) {
        m_refused = true;
        return;
    }
    if (std::exchange(m_child->ending, true))
        return;
    if (m_child->kept)
        return endKept(*m_child->kept, std::chrono::ceil<std::chrono::milliseconds>(m_command.grace));
    ::kill(-m_child->pid, SIGTERM);
    // A stopped process hears the request only when it goes on.
    ::kill(-m_child->pid, SIGCONT);
    m_child->kill = Loop::main().after(m_command.grace, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->killGroup();
    });
}

void Process::killGroup() {
    if (!m_child)
        return;
    m_child->ending = true;
    if (m_child->kept)
        endKeptSoon(*m_child->kept);
    else
        ::kill(-m_child->pid, SIGKILL);
}

// As much of the input as the pipe takes now. A child that closed its end wants no more.
void Process::feed() {
    auto &input = *m_command.input;
    while (m_written < input.size()) {
        const auto put =
            ::write(m_child->in.number(), input.constData() + m_written, static_cast<size_t>(input.size() - m_written));
        if (later(put))
            return;
        if (put < 0)
            break;
        m_written += put;
    }
    m_child->in.close();
    input.clear();
}

// One piece of what the child printed.
void Process::receive(Stream stream) {
    auto self = shared_from_this();
    auto &end = stream == Stream::output ? m_child->out : m_child->err;
    const auto got = take(stream, end.number());
    if (got == 0 || (got < 0 && !later(got)))
        end.close();
    // Whoever received the piece may have dropped the handle, and a notifier must not be destroyed in its own signal.
    if (self.use_count() == 1)
        Loop::main().post([self = std::move(self)] {});
}

ssize_t Process::take(Stream stream, int pipe) {
    const auto &receiver = stream == Stream::output ? m_command.onOutput : m_command.onErrors;
    auto &collected = stream == Stream::output ? m_output : m_errors;
    QByteArray piece;
    const auto most = std::clamp(waiting(pipe), SMALLEST_READ, CHUNK);
    const auto got = readBehind(receiver || m_overflowed ? piece : collected, pipe, most);
    if (got <= 0 || m_overflowed)
        return got;
    m_received += got;
    if (m_received > m_command.outputLimit) {
        m_overflowed = true; // what comes from now on goes nowhere
        killGroup();
    }
    if (receiver)
        receiver(piece);
    return got;
}

// The child has ended: what it left in the pipes is read, and only that much, since others may go on writing.
void Process::finish() {
    auto self = shared_from_this();
    // From here on it is not running: a receiver that ends it now must not reach the jobs it left behind.
    std::shared_ptr<Child> child = std::move(m_child);
    if (child->ending && !child->kept)
        ::kill(-child->pid, SIGKILL);
    for (const auto &[stream, end] : {std::pair(Stream::output, &child->out), std::pair(Stream::errors, &child->err)}) {
        for (auto left = end->isOpen() ? waiting(end->number()) : 0; left > 0;) {
            const auto got = take(stream, end->number());
            if (got <= 0)
                break;
            left -= got;
        }
        end->close();
    }
    child->in.close();
    child->exit.close();
    child->kill.cancel();
    running.erase(child->pid);
    int status = 0;
    ::waitpid(child->pid, &status, 0);
    m_signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    m_status = WIFEXITED(status) ? WEXITSTATUS(status) : m_signal;
    // The notifiers go in a turn of their own: this runs inside the signal of one of them.
    Loop::main().post([self, child] {});
    if (child->kept)
        finishKept(std::move(child));
    else
        m_ended.fire();
}

void Process::finishKept(std::shared_ptr<Child> child) {
    if (const auto left = leftByKept(*child->kept)) {
        m_left = *left;
        m_ended.fire();
        return;
    }
    runAlone([self = shared_from_this(), child = std::move(child), afterwards = m_command.afterForcedEnd]() mutable {
        endWithoutKeeper(*child->kept, afterwards);
        // Both are the main thread's.
        Loop::main().post([self = std::move(self), child = std::move(child)] { self->m_ended.fire(); });
    });
}

} // namespace ombru
