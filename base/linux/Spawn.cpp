#include "base/Spawn.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <vector>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int PIPE_BYTES = 256 << 10;

struct FileActions {
    posix_spawn_file_actions_t value;
    FileActions() { posix_spawn_file_actions_init(&value); }
    ~FileActions() { posix_spawn_file_actions_destroy(&value); }
    FileActions(const FileActions &) = delete;
    FileActions &operator=(const FileActions &) = delete;
};

struct Attributes {
    posix_spawnattr_t value;
    Attributes() { posix_spawnattr_init(&value); }
    ~Attributes() { posix_spawnattr_destroy(&value); }
    Attributes(const Attributes &) = delete;
    Attributes &operator=(const Attributes &) = delete;
};

// Text for the system, kept alive while the pointers to it are in use.
class Words {
public:
    void add(QByteArray word) { m_words.push_back(std::move(word)); }
    bool haveNul() const {
        return std::ranges::any_of(m_words, [](const QByteArray &word) { return word.contains('\0'); });
    }
    std::vector<char *> pointers() {
        std::vector<char *> result;
        result.reserve(m_words.size() + 1);
        for (auto &word : m_words)
            result.push_back(word.data());
        result.push_back(nullptr);
        return result;
    }

private:
    std::vector<QByteArray> m_words;
};

constexpr int FIRST_INHERITED = STDERR_FILENO + 1;

// What the child inherits, out of the way of the numbers that it gets there. Closed when the child runs.
Result<std::vector<Descriptor>> outOfTheWay(const std::vector<int> &inherited) {
    std::vector<Descriptor> result;
    for (const int number : inherited) {
        Descriptor copy(::fcntl(number, F_DUPFD_CLOEXEC, FIRST_INHERITED + static_cast<int>(inherited.size())));
        if (!copy.isOpen())
            return std::unexpected(processFailure(errno, u"passing on an open file"_s));
        result.push_back(std::move(copy));
    }
    return result;
}

void setFiles(FileActions &actions, const SpawnRequest &request, const std::vector<Descriptor> &inherited) {
    if (request.input < 0)
        posix_spawn_file_actions_addopen(&actions.value, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    else
        posix_spawn_file_actions_adddup2(&actions.value, request.input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions.value, request.output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions.value, request.errors, STDERR_FILENO);
    int next = FIRST_INHERITED;
    for (const auto &file : inherited)
        posix_spawn_file_actions_adddup2(&actions.value, file.number(), next++);
    // Libraries open files without the close-on-exec flag; none of them is the child's business.
    posix_spawn_file_actions_addclosefrom_np(&actions.value, next);
}

void setSignalsAndSession(Attributes &attributes, bool ownSession) {
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes.value, &all);
    posix_spawnattr_setsigmask(&attributes.value, &none);
    // A session rather than only a group: a child that reaches for this process's terminal from a group in the
    // background would be stopped instead of getting an error.
    const int session = ownSession ? POSIX_SPAWN_SETSID : 0;
    posix_spawnattr_setflags(&attributes.value,
                             static_cast<short>(session | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK));
}

} // namespace

Result<Pipe> makePipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) < 0)
        return std::unexpected(processFailure(errno, u"making a pipe"_s));
    Pipe pipe{Descriptor(ends[0]), Descriptor(ends[1])};
    // Measured: four times the usual size spares most changes between the two processes, and what is in the pipe still
    // fits a cache. Only speed is lost where the owner's share of pipe memory is used up.
    ::fcntl(pipe.writing.number(), F_SETPIPE_SZ, PIPE_BYTES);
    return pipe;
}

Result<pid_t> spawn(const SpawnRequest &request) {
    if (!request.directory.isEmpty() && !QFileInfo(request.directory).isDir())
        return std::unexpected(processFailure(ENOENT, u"the directory "_s + request.directory));

    Words arguments;
    arguments.add(QFile::encodeName(request.program));
    for (const auto &argument : request.arguments)
        arguments.add(argument.toUtf8());
    Words variables;
    if (request.environment)
        for (const auto &[name, value] : *request.environment)
            variables.add(name + '=' + value);
    if (arguments.haveNul() || variables.haveNul())
        return std::unexpected(
            Failure{u"process"_s, EINVAL, request.program + u": an argument contains a NUL character"_s});

    const auto inherited = outOfTheWay(request.inherited);
    if (!inherited)
        return std::unexpected(inherited.error());
    FileActions actions;
    Attributes attributes;
    setFiles(actions, request, *inherited);
    setSignalsAndSession(attributes, request.ownSession);
    if (!request.directory.isEmpty())
        posix_spawn_file_actions_addchdir_np(&actions.value, QFile::encodeName(request.directory).constData());

    pid_t pid = 0;
    const auto argv = arguments.pointers();
    const auto envp = variables.pointers();
    const int error = posix_spawn(&pid, argv[0], &actions.value, &attributes.value, argv.data(),
                                  request.environment ? envp.data() : environ);
    if (error != 0)
        return std::unexpected(processFailure(error, request.program));
    return pid;
}

} // namespace ombru
