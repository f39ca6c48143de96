#include "osascript/Reach.h"

#include "platform/linux/applications/InstalledApplications.h"
#include "platform/linux/applications/ProgramProcesses.h"
#include "platform/linux/system/ProcessStat.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// What holds the owner's answers, or asks for a secret: nothing that a script may answer, allowed or not. A name tells
// also what begins with it: "pinentry" is "pinentry-gtk-2", too.
struct Question {
    QStringView name; // of the program, or as its windows call themselves
    QStringView told; // to the script; empty: the same
};
constexpr std::array QUESTIONS{
    Question{u"ombru-consent-prompt", u"ombru"}, // what a script may do
    Question{u"ombru-privacy", u"ombru"},        // the same, afterwards
    Question{u"ombru-menubar", u"ombru"},        // its panel
    Question{u"gcr-prompter", {}},               // the keyring's password, also a new one; gpg's on some desktops
    Question{u"gnome-keyring", {}},              // the same, of older ones
    Question{u"kwalletd", {}},                   // the wallet's password
    Question{u"polkit", {}},                     // agents: a password for what only root may do
    Question{u"lxpolkit", {}},
    Question{u"lxqt-policykit", {}},
    Question{u"xfce-polkit", {}},
    Question{u"hyprpolkit", {}},
    Question{u"lxqt-sudo", {}}, // a program's start as root
    Question{u"gksu", {}},
    Question{u"kdesu", {}},
    Question{u"pinentry", {}},    // gpg's password
    Question{u"ssh-askpass", {}}, // of a key, or of sudo
    Question{u"x11-ssh-askpass", {}},
    Question{u"gnome-ssh-askpass", {}},
    Question{u"ksshaskpass", {}},
    Question{u"lxqt-openssh-askpass", {}},
    Question{u"xscreensaver", {}}, // lockers: the owner's password, of a screen that is to stay locked
    Question{u"gnome-screensaver", {}},
    Question{u"mate-screensaver", {}},
    Question{u"cinnamon-screensaver", {}},
    Question{u"xfce4-screensaver", {}},
    Question{u"light-locker", {}},
    Question{u"kscreenlocker", {}},
    Question{u"i3lock", {}},
    Question{u"slock", {}},
    Question{u"xlock", {}},
    Question{u"xtrlock", {}},
    Question{u"xsecurelock", {}},
};

// Whose question it is, to a window or program of these names; empty when it is none.
QString questionOf(const QStringList &names) {
    for (const auto &question : QUESTIONS)
        for (const QString &name : names)
            if (name.startsWith(question.name, Qt::CaseInsensitive))
                return (question.told.isEmpty() ? question.name : question.told).toString();
    return {};
}

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
    owner.question = questionOf({window.className, window.instance, program});
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
    if (!owner.question.isEmpty())
        return owner.question;
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
