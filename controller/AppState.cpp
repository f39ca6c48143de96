#include "controller/AppState.h"

#include "base/Background.h"
#include "base/Text.h"
#include "controller/CallDesk.h"
#include "controller/MenuBarSymbol.h"
#include "controller/PermissionDesk.h"
#include "controller/Prompts.h"
#include "controller/ServiceLink.h"
#include "controller/TaskLoop.h"
#include "controller/WorkDirectory.h"
#include "notifier/Notifier.h"
#include "platform/SystemLog.h"
#include "wire/AgentMessages.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LONG_TEXT = 1 << 16; // characters

// Writing tens of megabytes would hold the main thread: those may be in the log a moment late.
void log(const Event &event) {
    if (event.text.size() <= LONG_TEXT)
        return logger::log(logLevel(event.kind), event.text);
    runInBackground([event] { logger::log(logLevel(event.kind), event.text); });
}

} // namespace

AppState::AppState(const QString &settingsFile) : settings(settingsFile) {
    Loop::main(); // from here on other threads may emit
    // The first is found before anybody can listen.
    settings.onTrouble([this](const QString &line) { emitFromAnywhere(u"✗ "_s + line, EventKind::warn); });
    m_loop = makeTaskLoop();
    m_desk = makePermissionDesk();
    m_calls = makeCallDesk();
    m_link = makeServiceLink();
    show(m_desk->view());
}

AppState::~AppState() = default;

void AppState::emit(const QString &text, EventKind kind, const TaskFact &fact) {
    if (text.isEmpty())
        return;
    const Event event{kind, text, Clock::unixSeconds(), fact};
    // The page first: it does not wait for the log.
    if (m_web.exists() && isForwarded(kind))
        m_web.send(EventMessage{kindName(kind), text, event.time});
    log(event);
    if (updatesLastEvent(kind))
        lastEvent = firstLine(text);
    m_receivers.tell(event);
}

void AppState::emitFromAnywhere(const QString &text, EventKind kind) {
    onMain(this, [this, text, kind] { emit(text, kind); });
}

Result<> AppState::openLogs() {
    return Claude::openTerminal(u"ombru-log"_s, {logCommand()}, workDir());
}

void AppState::setActivity(const std::optional<QString> &text, double linger, bool prominent,
                           const std::optional<QString> &detail) {
    m_activityClear.cancel();
    taskActivity = text;
    if (text)
        Notifier::update(*text, detail.value_or(m_loop->headline()), prominent);
    // The timer is a member, so it cannot outlive the controller.
    if (linger > 0)
        m_activityClear = Loop::main().after(Clock::seconds(linger), [this] { taskActivity = std::nullopt; });
}

QString AppState::systemPrompt() const {
    return chooseSystemPrompt(config->systemPrompt, settings.cachedPrompt());
}

QString AppState::icon() const {
    return menuBarSymbol({.inCall = !activeCalls->isEmpty(),
                          .busy = busy,
                          .signedIn = auth->is<Auth::SignedIn>(),
                          .reachable = cloudReachable || agentConnected,
                          .listening = serverListening,
                          .missingPermissions = missingPermissions()});
}

// The one that writes the two.
void AppState::setTaskState(const TaskProgress &progress) {
    const bool changed = busy != progress.busy || step != progress.step;
    cancelling = progress.cancelling;
    busy = progress.busy;
    step = progress.step;
    if (changed)
        sendState();
}

void AppState::sendState() {
    if (agentConnected)
        m_web.send(StateMessage{busy, step, activeCalls, sharing, status});
}

void AppState::applyConfig(const CloudConfig &received) {
    config = received;
}

void AppState::setWebChannel(WebChannel::Send send) {
    m_web.set(std::move(send));
    agentConnected = false;
}

void AppState::setWebChannelOpen(bool open) {
    agentConnected = open && m_web.exists();
}

QString AppState::workDir() {
    return workDirectory();
}

Task<> AppState::drain() {
    if (busy)
        cancelTask();
    // All are asked before one is waited for.
    const auto loop = m_loop->end();
    const auto desk = m_desk->end();
    const auto link = m_link->end();
    const auto calls = m_calls->end();
    const auto tasks = m_tasks.drain();
    co_await loop;
    co_await desk;
    co_await link;
    co_await calls;
    co_await tasks;
    m_activityClear.cancel();
}

} // namespace ombru
