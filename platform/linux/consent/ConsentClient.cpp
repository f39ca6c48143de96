#include "platform/linux/consent/ConsentClient.h"

#include "platform/linux/system/ProcessStat.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <vector>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

struct Ancestor {
    qint64 pid = 0;
    QString program; // full path
};

QByteArray contentOf(const QString &path) {
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
}

// What to do about a process whose program cannot be looked at.
enum class Unreadable { endsTheWalk, isPassed };

// The parent first. A process's number may be given anew while we look: one that is younger than its child is not its
// parent, and one that changed meanwhile was not seen at all.
std::vector<Ancestor> ancestorsOf(const QString &processes, qint64 pid, Unreadable unreadable) {
    std::vector<Ancestor> ancestors;
    QSet<qint64> seen{pid};
    auto child = processStat(processes + u'/' + QString::number(pid));
    while (child && child->parent > 0 && !seen.contains(child->parent)) {
        seen.insert(child->parent);
        const auto process = processes + u'/' + QString::number(child->parent);
        const auto before = processStat(process);
        const auto program = processProgram(process);
        if (!before || before->start > child->start || processStat(process) != before)
            break;
        if (program.isEmpty() && unreadable == Unreadable::endsTheWalk)
            break;
        ancestors.push_back({child->parent, program});
        child = before;
    }
    return ancestors;
}

// Runs what another program wants.
bool isWrapper(const QString &program) {
    static const QSet<QString> names{
        u"ash"_s,    u"bash"_s,    u"busybox"_s, u"chroot"_s,  u"chrt"_s,         u"csh"_s,       u"dash"_s,
        u"doas"_s,   u"env"_s,     u"fish"_s,    u"flock"_s,   u"ionice"_s,       u"ksh"_s,       u"ksh93"_s,
        u"mksh"_s,   u"nice"_s,    u"nohup"_s,   u"nsenter"_s, u"ombru-keeper"_s, u"osascript"_s, u"parallel"_s,
        u"pkexec"_s, u"prlimit"_s, u"rbash"_s,   u"runuser"_s, u"script"_s,       u"setarch"_s,   u"setpriv"_s,
        u"setsid"_s, u"sh"_s,      u"stdbuf"_s,  u"su"_s,      u"sudo"_s,         u"taskset"_s,   u"tcsh"_s,
        u"time"_s,   u"timeout"_s, u"unshare"_s, u"watch"_s,   u"xargs"_s,        u"zsh"_s};
    return names.contains(QFileInfo(program).fileName());
}

Environment environmentOf(const QString &process) {
    Environment environment;
    for (const auto &variable : contentOf(process + u"/environ"_s).split('\0')) {
        if (const auto equals = variable.indexOf('='); equals > 0)
            environment[variable.first(equals)] = variable.sliced(equals + 1);
    }
    return environment;
}

} // namespace

ConsentClient askingClient(const QString &processes, qint64 pid, const QString &program) {
    const auto ancestors = ancestorsOf(processes, pid, Unreadable::endsTheWalk);
    const auto ombru = QFileInfo(program).path() + u"/ombru"_s;
    const auto outermost = std::find_if(ancestors.rbegin(), ancestors.rend(), [&](const auto &ancestor) {
        return ancestor.program == ombru || ancestor.program == ombru + u"-privacy"_s; // its settings ask for it
    });
    if (outermost != ancestors.rend())
        return {OMBRU_CLIENT.toString(), environmentOf(processes + u'/' + QString::number(outermost->pid))};
    const auto nearest = std::ranges::find_if_not(ancestors, isWrapper, &Ancestor::program);
    if (nearest != ancestors.end())
        return {nearest->program, std::nullopt};
    return {ancestors.empty() ? program : ancestors.back().program, std::nullopt};
}

bool runsBelowScript(const QString &processes, qint64 pid) {
    const auto isOsascript = [](const Ancestor &ancestor) {
        return QFileInfo(ancestor.program).fileName() == u"osascript";
    };
    return std::ranges::any_of(ancestorsOf(processes, pid, Unreadable::isPassed), isOsascript);
}

bool runsBelowScript() {
    return runsBelowScript(u"/proc"_s, QCoreApplication::applicationPid());
}

ConsentClient askingClient() {
    return askingClient(u"/proc"_s, QCoreApplication::applicationPid(), QCoreApplication::applicationFilePath());
}

} // namespace ombru
