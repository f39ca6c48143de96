#include "osascript/Reach.h"

#include "platform/linux/applications/InstalledApplications.h"
#include "platform/linux/applications/ProgramProcesses.h"
#include "platform/linux/system/ProcessStat.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// Which programs of ours hold the owner's answers.
constexpr std::array OWN{QStringView(u"ombru-consent-prompt"), QStringView(u"ombru-privacy")};

// Terminals that may be there without a desktop entry that says so.
constexpr std::array PLAIN_TERMINALS{QStringView(u"xterm"), QStringView(u"uxterm")};

template <std::size_t COUNT>
bool isOneOf(const std::array<QStringView, COUNT> &names, const QString &name) {
    return std::ranges::any_of(names, [&](QStringView known) { return known.compare(name, Qt::CaseInsensitive) == 0; });
}

} // namespace

Result<> Reach::mayReach(const DesktopWindow &window) {
    forgetOldAnswers();
    const Key key{window.handle, window.pid, window.className, window.instance};
    auto known = m_known.find(key);
    if (known == m_known.end())
        known = m_known.emplace(key, Known{ownerOf(window), false, {}}).first;
    auto &[owner, judged, refusal] = known->second;
    if (!judged)
        refusal = refused(owner);
    judged = true;
    return refusal.isEmpty() ? Result<>() : std::unexpected(notAllowed(refusal));
}

void Reach::forgetOldAnswers() {
    const auto now = consentRecordState(m_consent->database());
    if (m_record == now)
        return;
    for (auto &[key, known] : m_known)
        known.judged = false;
    m_record = now;
}

Reach::Owner Reach::ownerOf(const DesktopWindow &window) {
    const auto installed = installedApplications();
    auto entries = applicationsRunBy(window.pid, *installed);
    if (const auto *named = installed->ofWindow(window.className, window.instance))
        entries.insert(entries.begin(), *named);
    const auto program = QFileInfo(processProgram(u"/proc/"_s + QString::number(window.pid))).fileName();
    Owner owner;
    owner.isOmbru = std::ranges::any_of(QStringList{window.className, window.instance, program},
                                        [](const QString &name) { return isOneOf(OWN, name); });
    for (const auto &entry : entries)
        owner.applications.push_back({entry.id, entry.name, entry.categories.contains(u"TerminalEmulator"_s)});
    for (const QString &name : {window.instance, program}) {
        if (isOneOf(PLAIN_TERMINALS, name) && !std::ranges::any_of(owner.applications, &Application::isTerminal))
            owner.applications.push_back({name, name, true});
    }
    return owner;
}

// The first application that is in the way. One terminal that is allowed speaks for all of its names.
QString Reach::refused(const Owner &owner) {
    if (owner.isOmbru)
        return u"ombru"_s;
    const Application *terminal = nullptr;
    bool terminalIsAllowed = false;
    for (const auto &application : owner.applications) {
        const auto decided = m_consent->decision(application.id);
        if (decided == false)
            return application.name;
        if (application.isTerminal && !terminal)
            terminal = &application;
        terminalIsAllowed = terminalIsAllowed || (application.isTerminal && decided == true);
    }
    return terminal && !terminalIsAllowed ? terminal->name : QString();
}

} // namespace ombru
