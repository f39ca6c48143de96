#include "app/cli/ConsentCommand.h"

#include "app/cli/CommandLoop.h"
#include "base/Background.h"
#include "base/Text.h"
#include "permissions/AppAutomation.h"
#include "platform/Workspace.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int STOPPED = 130;
constexpr auto ANSWERING = std::chrono::hours(24); // the question ends by itself before
constexpr qsizetype LONGEST_NAME = 4096;           // as long as a path may be
constexpr qsizetype LONGEST_IDENTIFIER = 255;      // as long as a desktop file's name may be

int refuse(const QString &why, int status) {
    qCritical("%s", qUtf8Printable(printable(why)));
    return status;
}

// "com.example.Editor": what no application here answers to may still be one that will be installed.
bool isIdentifier(const QString &text) {
    static const QRegularExpression form(u"^[A-Za-z0-9_-]+(\\.[A-Za-z0-9_-]+)+$"_s);
    return text.size() <= LONGEST_IDENTIFIER && form.match(text).hasMatch();
}

// Whole, also where it is a path.
QString shown(const QString &name) {
    return shownLine(name, LONGEST_NAME);
}

bool isClient(const QString &text) {
    return text.startsWith(u'/') || isIdentifier(text);
}

// Those of one client under its identity, and those from before it became a link; or all.
Result<std::vector<ConsentDecision>> decisionsOf(const std::optional<QString> &client) {
    auto decisions = consentDecisions();
    if (!decisions || !client)
        return decisions;
    const auto identity = consentIdentity(ConsentParty::client, *client);
    std::erase_if(*decisions,
                  [&](const auto &decision) { return decision.client != *client && decision.client != identity; });
    return decisions;
}

// By identifier: the names that the owner knows, with the identifier only behind one that another has, too.
QMap<QString, QString> labels(QMap<QString, QString> names) {
    const auto own = ownConsentClient();
    const bool isListed = names.contains(own);
    names[own] = u"ombru"_s; // listed or not, nobody else passes for it
    QMap<QString, int> bearers;
    for (const auto &name : std::as_const(names))
        ++bearers[shown(name)];
    for (auto name = names.begin(); name != names.end(); ++name) {
        const auto &id = name.key();
        const bool isAmbiguous = id != own && id != *name && bearers[shown(*name)] > 1;
        *name = isAmbiguous ? u"%1 (%2)"_s.arg(shown(*name), shown(id)) : shown(*name);
    }
    if (!isListed)
        names.remove(own);
    return names;
}

QString decided(bool allowed) {
    return allowed ? u"allowed"_s : u"refused"_s;
}

QString when(const QDateTime &time) {
    return time.isValid() ? time.toString(u"yyyy-MM-dd HH:mm"_s) : u"-"_s;
}

QByteArray json(const ConsentDecision &decision, const QString &name) {
    QJsonObject object{{u"client"_s, decision.client},
                       {u"application"_s, decision.application},
                       {u"name"_s, shown(name)},
                       {u"allowed"_s, decision.allowed}};
    if (decision.time.isValid())
        object[u"time"_s] = decision.time.toUTC().toString(Qt::ISODate);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

void ConsentCommand::interrupt() {
    m_stop.request_stop();
}

Task<int> ConsentCommand::run() {
    if (m_options.client && !isClient(*m_options.client))
        co_return refuse(u"--for wants a program's full path (/usr/bin/xterm) or an identifier (com.ombru.mac), not "
                         "\"%1\"."_s.arg(asTyped(*m_options.client)),
                         2);
    co_return m_options.action == ConsentOptions::Action::list ? co_await list() : co_await change();
}

// The identifier it is known by here, or what looks like one that is unknown.
Task<std::optional<QString>> ConsentCommand::identify(QString application) {
    if (co_await background([application] { return applicationName(application).has_value(); }))
        co_return application;
    if (const auto id = co_await AppAutomation::bundleID(QString(application).remove(u'\\'), m_stop.get_token()))
        co_return id;
    // What was decided about something that is no longer installed can still be taken back.
    const bool isTaken = isIdentifier(application) || m_options.action == ConsentOptions::Action::forget;
    co_return isTaken ? std::optional(application) : std::nullopt;
}

// As the desktop shows them; a program's path and what is not installed are called as they are.
Task<QMap<QString, QString>> ConsentCommand::namesOf(QStringList ids) {
    return background([ids = std::move(ids)] {
        QMap<QString, QString> names;
        for (const QString &id : ids)
            names[id] = id.startsWith(u'/') ? id : applicationName(id).value_or(id);
        return names;
    });
}

// What has become of it, in a word.
Result<QString> ConsentCommand::apply(const QString &client, const QString &id) const {
    switch (m_options.action) {
    case ConsentOptions::Action::allow: {
        const auto allowed = offerConsent(client, id);
        return allowed ? Result<QString>(*allowed ? u"allowed"_s : u"not allowed"_s) : std::unexpected(allowed.error());
    }
    case ConsentOptions::Action::forget: {
        const auto forgotten = forgetConsent(client, id);
        return forgotten ? Result<QString>(*forgotten ? u"undecided"_s : u"refused"_s)
                         : std::unexpected(forgotten.error());
    }
    case ConsentOptions::Action::deny:
    case ConsentOptions::Action::list:
        break;
    }
    const auto refused = refuseConsent(client, id);
    return refused ? Result<QString>(u"refused"_s) : std::unexpected(refused.error());
}

Task<int> ConsentCommand::change() {
    QStringList ids;
    for (const QString &application : m_options.applications) {
        const auto id = co_await identify(application);
        if (m_stop.stop_requested())
            co_return STOPPED;
        if (!id)
            co_return refuse(u"There is no application \"%1\" here, so nothing was changed. Give its name as its menu "
                             "shows it, or its identifier."_s.arg(asTyped(application)),
                             2);
        ids += *id;
    }
    const auto client = m_options.client.value_or(ownConsentClient());
    const auto names = labels(co_await namesOf(QStringList{client} + ids));
    for (const QString &id : ids) {
        // On a thread of its own, since the owner may be asked.
        const auto done =
            co_await backgroundWithin(ANSWERING, m_stop.get_token(), [this, client, id] { return apply(client, id); });
        if (!done)
            co_return STOPPED;
        if (!*done)
            co_return refuse(done->error().description, 1);
        m_terminal.print(u"%1: %2 for %3"_s.arg(names[id], **done, names[client]));
    }
    co_return 0;
}

Task<int> ConsentCommand::list() {
    auto decisions = co_await background([client = m_options.client] { return decisionsOf(client); });
    if (!decisions)
        co_return refuse(decisions.error().description, 1);
    QStringList ids;
    for (const auto &decision : *decisions)
        ids << decision.client << decision.application;
    const auto names = co_await namesOf(ids);
    if (m_options.json) {
        for (const auto &decision : *decisions)
            m_terminal.printRaw(json(decision, names[decision.application]));
    } else {
        printTable(*decisions, labels(names));
    }
    co_return m_terminal.statusWhenSeen(0);
}

void ConsentCommand::printTable(const std::vector<ConsentDecision> &decisions, const QMap<QString, QString> &names) {
    if (decisions.empty()) {
        m_terminal.print(
            m_options.client
                ? u"Nothing is decided for %1."_s.arg(shown(*m_options.client))
                : u"Nothing is decided yet. `ombru consent allow APP` lets scripts control an application."_s);
        return;
    }
    qsizetype clientWidth = 0;
    qsizetype applicationWidth = 0;
    for (const auto &decision : decisions) {
        clientWidth = std::max(clientWidth, names[decision.client].size());
        applicationWidth = std::max(applicationWidth, names[decision.application].size());
    }
    for (const auto &decision : decisions) {
        const auto line = names[decision.client].leftJustified(clientWidth) + u"  "_s +
                          names[decision.application].leftJustified(applicationWidth) + u"  "_s +
                          decided(decision.allowed) + u"  "_s + when(decision.time);
        m_terminal.print(line, decision.allowed ? Colour::green : Colour::red);
    }
}

int runCommand(ConsentOptions options) {
    ConsentCommand command(std::move(options));
    return runLoop(command);
}

} // namespace ombru
