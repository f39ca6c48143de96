#include "app/cli/StatusCommand.h"

#include "app/cli/Errand.h"
#include "app/cli/Findings.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Permission::State stateOf(const PermissionStates &states, const QString &id) {
    return states.value(id, Permission::State::unknown);
}

QString signInText(const Auth &auth) {
    if (const auto *in = std::get_if<Auth::SignedIn>(&auth.state))
        return in->email == Auth::OFFLINE ? u"signed in, but the service could not be reached"_s
                                          : u"signed in as "_s + in->email;
    if (auth.is<Auth::Pairing>())
        return u"signing in"_s;
    return auth.is<Auth::Loading>() ? u"looking whether it is signed in"_s : u"signed out"_s;
}

} // namespace

StatusCommand::StatusCommand(const CommandPlace &place, const StatusOptions &options)
    : m_place(place), m_options(options) {}

void StatusCommand::interrupt() {
    m_interrupted = true;
    m_looked.fire();
}

Task<int> StatusCommand::run() {
    if (!m_options.json)
        m_place.output.showLive(u"… Looking at what ombru may do · Ctrl-C stops"_s);
    m_place.tasks.start(look(m_place.state, m_looked));
    co_await m_looked;
    m_place.output.showLive({});
    if (m_interrupted)
        co_return 130;
    if (m_options.json)
        printJson();
    else
        print();
    co_return m_place.output.statusWhenSeen(0);
}

Task<> StatusCommand::look(AppState &state, Completion looked) {
    co_await state.refreshPermissions();
    looked.fire();
}

void StatusCommand::print() {
    auto &output = m_place.output;
    const auto &state = m_place.state;
    output.print(setupText(state.setup(), false), Colour::bold);
    if (const auto undecided = undecidedText(state.allowed()); state.setup() != Setup::done && !undecided.isEmpty())
        output.print(undecided);
    if (m_place.stays)
        ombru::print(output, {Permission::State::granted, u"application"_s, application(), {}});
    ombru::print(output, finding(state.claude()));
    for (const auto &permission : Permissions::all)
        ombru::print(output, finding(permission, stateOf(state.permStates, permission.id)), permission.why);
    output.print(u"Applications that scripts may control:"_s);
    printApplications(output, state.allowed());
    if (state.missingPermissions())
        output.print(u"`ombru doctor` says what works here and what to do about the rest."_s, Colour::dim);
}

QString StatusCommand::application() const {
    const auto &state = m_place.state;
    QStringList words{u"running"_s, signInText(state.auth)};
    if (state.auth->is<Auth::SignedIn>())
        words += state.agentConnected ? u"connected to the web page"_s : u"not connected to the web page"_s;
    if (state.busy)
        words += u"at step %1 of a task"_s.arg(state.step());
    if (!state.serverStatus->isEmpty())
        words += state.serverStatus;
    if (!state.activeCalls->isEmpty())
        words += u"on a call with "_s + state.activeCalls->join(u", "_s);
    if (state.sharing)
        words += u"sharing the computer's sound"_s;
    return words.join(u", "_s);
}

void StatusCommand::printJson() {
    QJsonObject permissions;
    for (const auto &permission : Permissions::all)
        permissions[permission.id] = stateName(stateOf(m_place.state.permStates, permission.id));
    QJsonObject applications;
    for (const auto &[application, state] : m_place.state.allowed().allApplications())
        applications[application.id] = QJsonObject{{u"name"_s, application.name}, {u"state"_s, stateName(state)}};
    QJsonObject status{{u"setup"_s, setupName(m_place.state.setup())},
                       {u"permissions"_s, permissions},
                       {u"applications"_s, applications},
                       {u"claude"_s, claudeStateName(m_place.state.claude)}};
    if (const auto &problem = m_place.state.allowed().problem; !problem.isEmpty())
        status[u"problem"_s] = problem;
    if (m_place.stays)
        status[u"application"_s] = QJsonObject{{u"account"_s, signInText(m_place.state.auth)},
                                               {u"connected"_s, m_place.state.agentConnected()},
                                               {u"busy"_s, m_place.state.busy()},
                                               {u"step"_s, m_place.state.step()},
                                               {u"takesCalls"_s, m_place.state.serverListening()},
                                               {u"calls"_s, QJsonArray::fromStringList(m_place.state.activeCalls)},
                                               {u"sharing"_s, m_place.state.sharing()}};
    m_place.output.printRaw(QJsonDocument(status).toJson(QJsonDocument::Compact));
}

int runCommand(StatusOptions options) {
    return runErrand(options, [options](const CommandPlace &place) -> std::unique_ptr<StateCommand> {
        return std::make_unique<StatusCommand>(place, options);
    });
}

} // namespace ombru
