#include "platform/linux/consent/ConsentClient.h"

#include "platform/linux/consent/Ancestry.h"
#include "platform/linux/consent/ScriptMark.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <vector>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QByteArray contentOf(const QString &path) {
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
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

// A namespace that any user can make shows other processes, or other files in the places that are fixed. One of process
// numbers has them twice; one of users knows only its maker, while a container's knows thousands.
bool isInNamespaceOfItsOwn(const QString &processes, qint64 pid) {
    constexpr qint64 SYSTEM = 1000; // users that even the smallest has
    const auto process = processes + u'/' + QString::number(pid);
    qint64 users = 0;
    for (const auto &line : contentOf(process + u"/uid_map"_s).split('\n')) {
        const auto words = line.simplified().split(' ');
        users += words.size() == 3 ? words[2].toLongLong() : 0;
    }
    return statusOf(process, "NSpid").size() > 1 || (users > 0 && users < SYSTEM);
}

bool isOfAScript(const Ancestor &ancestor) {
    const auto name = QFileInfo(ancestor.program).fileName();
    return name == u"osascript" || name == u"ombru" || name == u"ombru-menubar";
}

// The one whose mark was inherited is an ancestor, and above it there is none that it could work for.
bool isHandedDown(const ClientSurroundings &here, const std::vector<Ancestor> &ancestors) {
    const auto maker = here.markMaker ? std::ranges::find(ancestors, *here.markMaker, &Ancestor::pid) : ancestors.end();
    return maker != ancestors.end() && !isInNamespaceOfItsOwn(here.processes, here.pid) &&
           here.kinship(here.processes + u'/' + QString::number(maker->pid)) == Kinship::proven &&
           std::none_of(std::next(maker), ancestors.end(), isOfAScript);
}

ConsentClient elsewhere(const QString &program, const std::vector<Ancestor> &ancestors) {
    const auto visible = std::ranges::find_if(ancestors, &QString::isEmpty, &Ancestor::program);
    const auto nearest =
        std::find_if_not(ancestors.begin(), visible, [](const auto &ancestor) { return isWrapper(ancestor.program); });
    if (nearest != visible)
        return {nearest->program, std::nullopt};
    return {visible == ancestors.begin() ? program : std::prev(visible)->program, std::nullopt};
}

} // namespace

ConsentClient askingClient(const ClientSurroundings &here) {
    const auto ancestors = ancestryOf(here.processes, here.pid).all;
    const auto placeOf = [&](const Ancestor &ancestor) {
        return here.processes + u'/' + QString::number(ancestor.pid);
    };
    const auto outermost = std::find_if(ancestors.rbegin(), ancestors.rend(), [&](const auto &ancestor) {
        return here.kinship(placeOf(ancestor)) != Kinship::none;
    });
    if (outermost == ancestors.rend())
        return elsewhere(here.program, ancestors);
    return {OMBRU_CLIENT.toString(), environmentOf(placeOf(*outermost)).value_or(Environment()),
            isHandedDown(here, ancestors)};
}

bool mayServeAScript(const QString &processes, qint64 pid) {
    const auto above = ancestryOf(processes, pid);
    return !above.whole || std::ranges::any_of(above.all, isOfAScript) || isInNamespaceOfItsOwn(processes, pid);
}

bool mayServeAScript() {
    return mayServeAScript(u"/proc"_s, ownNumber());
}

ConsentClient askingClient() {
    const auto mark = inheritedMark();
    return askingClient({.processes = u"/proc"_s,
                         .pid = ownNumber(),
                         .program = QCoreApplication::applicationFilePath(),
                         .markMaker = mark ? std::optional<qint64>(mark->maker) : std::nullopt,
                         .kinship = kinshipOf});
}

} // namespace ombru
