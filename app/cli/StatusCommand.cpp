#include "app/cli/StatusCommand.h"

#include "app/cli/CommandLoop.h"
#include "app/cli/Findings.h"

#include <QJsonDocument>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Permission::State stateOf(const PermissionStates &states, const QString &id) {
    return states.value(id, Permission::State::unknown);
}

} // namespace

StatusCommand::StatusCommand(const StatusOptions &options) : m_options(options) {
    m_warned = m_state.onEvent([](const Event &event) {
        if (event.kind == EventKind::warn)
            qWarning("%s", qUtf8Printable(event.text));
    });
}

void StatusCommand::interrupt() {
    m_interrupted = true;
    m_looked.fire();
}

Task<int> StatusCommand::run() {
    if (!m_options.json)
        m_terminal.showLive(u"… Looking at what ombru may do · Ctrl-C stops"_s);
    m_tasks.start(look());
    co_await m_looked;
    m_terminal.showLive({});
    co_await m_state.drain();
    co_await m_tasks.drain();
    if (m_interrupted)
        co_return 130;
    if (m_options.json)
        printJson();
    else
        print();
    co_return m_terminal.statusWhenSeen(0);
}

Task<> StatusCommand::look() {
    co_await m_state.refreshPermissions();
    m_looked.fire();
}

void StatusCommand::print() {
    m_terminal.print(setupText(m_state.setup(), false), Colour::bold);
    ombru::print(m_terminal, finding(m_state.claude()));
    for (const auto &permission : Permissions::all)
        ombru::print(m_terminal, finding(permission, stateOf(m_state.permStates, permission.id)), permission.why);
    m_terminal.print(u"Applications that scripts may control:"_s);
    printApplications(m_terminal, m_state.allowed());
    if (m_state.missingPermissions())
        m_terminal.print(u"`ombru doctor` says what works here and what to do about the rest."_s, Colour::dim);
}

void StatusCommand::printJson() {
    QJsonObject permissions;
    for (const auto &permission : Permissions::all)
        permissions[permission.id] = stateName(stateOf(m_state.permStates, permission.id));
    QJsonObject applications;
    for (const auto &[application, state] : m_state.allowed().allApplications())
        applications[application.id] = QJsonObject{{u"name"_s, application.name}, {u"state"_s, stateName(state)}};
    QJsonObject status{{u"setup"_s, setupName(m_state.setup())},
                       {u"permissions"_s, permissions},
                       {u"applications"_s, applications},
                       {u"claude"_s, claudeStateName(m_state.claude)}};
    if (const auto &problem = m_state.allowed().problem; !problem.isEmpty())
        status[u"problem"_s] = problem;
    m_terminal.printRaw(QJsonDocument(status).toJson(QJsonDocument::Compact));
}

int runCommand(StatusOptions options) {
    StatusCommand command(options);
    return runLoop(command);
}

} // namespace ombru
