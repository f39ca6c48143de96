#include "platform/linux/applications/ProgramProcesses.h"

#include "platform/linux/system/ProcessStat.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <ctime>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QByteArray fileOf(const QString &process, const QString &name) {
    QFile file(u"/proc/%1/%2"_s.arg(process, name));
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray withoutScreen(const QByteArray &display) {
    const auto point = display.indexOf('.', display.lastIndexOf(':'));
    return point < 0 ? display : display.first(point);
}

// An owner may have several desktops; what runs on another one does not run here.
bool isOnThisDisplay(const QString &process) {
    const auto ours = qgetenv("DISPLAY");
    if (ours.isEmpty())
        return true;
    const auto variables = fileOf(process, u"environ"_s).split('\0');
    return std::ranges::any_of(variables, [&](const QByteArray &variable) {
        return variable.startsWith("DISPLAY=") && withoutScreen(variable.sliced(8)) == withoutScreen(ours);
    });
}

template <std::size_t count>
bool isOneOf(const QStringView (&names)[count], QStringView name) {
    return std::ranges::find(names, name) != std::end(names);
}

// python of python3.11.
QStringView withoutVersion(QStringView program) {
    const auto end = std::find_if_not(program.rbegin(), program.rend(), [](QChar letter) {
        return letter == u'.' || (letter >= u'0' && letter <= u'9');
    });
    return program.chopped(end - program.rbegin());
}

// Runs programs that are texts.
bool isInterpreter(const QString &program) {
    static constexpr QStringView NAMES[] = {u"sh",   u"bash",   u"dash", u"zsh",         u"ksh",  u"busybox",
                                            u"node", u"nodejs", u"gjs",  u"gjs-console", u"java", u"mono"};
    static constexpr QStringView NUMBERED[] = {u"python", u"perl", u"ruby", u"lua", u"tclsh", u"wish", u"guile"};
    return isOneOf(NAMES, program) || isOneOf(NUMBERED, withoutVersion(program)) || program.startsWith(u"wine"_s);
}

bool choosesAnother(const QString &program) {
    static constexpr QStringView NAMES[] = {u"xdg-open", u"xdg-email", u"exo-open", u"gio", u"sensible-browser"};
    return isOneOf(NAMES, program) || withoutVersion(program) == u"kde-open"_s;
}

// Starts whatever it is told, and says nothing about what runs.
bool startsAnything(const QString &program) {
    return program == u"flatpak"_s || program == u"snap"_s || choosesAnother(program);
}

QString fullPath(const QString &program) {
    const auto found = program.contains(u'/') ? program : QStandardPaths::findExecutable(program);
    return QFileInfo(found).canonicalFilePath();
}

class Program {
public:
    explicit Program(const DesktopEntry &entry) : m_words(entry.words()) {
        m_name = QFileInfo(m_words.value(0)).fileName();
        // The text that is run, by its interpreter or by its own first line.
        m_text = fullPath(isInterpreter(m_name) ? m_words.value(1) : m_words.value(0));
    }

    bool isTelling() const { return !m_name.isEmpty() && !startsAnything(m_name); }

    bool isSameAs(const Program &other) const {
        if (m_words == other.m_words || !isTelling() || !other.isTelling())
            return m_words == other.m_words;
        const auto file = QFileInfo(m_text).fileName();
        const bool sameFile = !file.isEmpty() && !startsAnything(file) && !isInterpreter(file);
        return (sameFile && m_text == other.m_text) || (!isInterpreter(m_name) && m_name == other.m_name);
    }

    bool isRunBy(const QString &process) const {
        const auto executable = QFileInfo(processProgram(u"/proc/"_s + process)).fileName();
        if (isInterpreter(executable))
            return runsText(process);
        return !isInterpreter(m_name) && executable == m_name;
    }

private:
    bool runsText(const QString &process) const {
        constexpr qsizetype FURTHEST = 3; // the interpreter's own options come before the text
        const auto words = fileOf(process, u"cmdline"_s).split('\0').mid(1, FURTHEST);
        return !m_text.isEmpty() && std::ranges::any_of(words, [&](const QByteArray &word) {
            return word.startsWith('/') && fullPath(QFile::decodeName(word)) == m_text;
        });
    }

    QStringList m_words;
    QString m_name;
    QString m_text;
};

std::chrono::milliseconds ageOf(const QString &process) {
    const auto stat = processStat(u"/proc/"_s + process).value_or(ProcessStat());
    const auto started = qint64(stat.start) * 1000 / ::sysconf(_SC_CLK_TCK);
    timespec now{};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::milliseconds(now.tv_sec * 1000 + now.tv_nsec / 1'000'000 - started);
}

} // namespace

std::optional<std::chrono::milliseconds> runningSince(const DesktopEntry &entry) {
    const Program program(entry);
    std::optional<std::chrono::milliseconds> youngest;
    if (entry.terminal || !program.isTelling())
        return youngest;
    for (const QString &process : QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const bool owners = process.front().isDigit() && QFileInfo(u"/proc/"_s + process).ownerId() == ::getuid();
        if (owners && program.isRunBy(process) && isOnThisDisplay(process))
            youngest = std::min(youngest.value_or(std::chrono::milliseconds::max()), ageOf(process));
    }
    return youngest;
}

std::vector<DesktopEntry> applicationsRunBy(qint64 pid, const Applications &installed) {
    std::vector<DesktopEntry> found;
    const auto process = QString::number(pid);
    for (const auto &entry : installed.all()) {
        const Program program(entry);
        if (pid > 0 && !entry.terminal && program.isTelling() && program.isRunBy(process))
            found.push_back(entry);
    }
    return found;
}

std::vector<DesktopEntry> applicationsOfSameProgram(const DesktopEntry &entry, const Applications &installed) {
    std::vector<DesktopEntry> found;
    const Program program(entry);
    std::ranges::copy_if(installed.all(), std::back_inserter(found),
                         [&](const DesktopEntry &other) { return program.isSameAs(Program(other)); });
    return found;
}

bool leavesTheChoice(const DesktopEntry &entry) {
    return choosesAnother(entry.program());
}

} // namespace ombru
