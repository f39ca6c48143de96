#include "controller/AppState.h"

#include "app/Notifier.h"
#include "base/Text.h"
#include "controller/Prompts.h"
#include "platform/SystemLog.h"
#include "wire/AgentMessages.h"

#include <QDir>
#include <QStandardPaths>

namespace ombru {

using namespace Qt::StringLiterals;

AppState::AppState(const QString &settingsFile) : settings(settingsFile) {
    Loop::main(); // from here on other threads may emit
    settings.onBadValue([this](const QString &line) { emit(u"✗ "_s + line, EventKind::warn); });
    appAutomation = permissionStates(settings.appAutomation());
}

AppState::~AppState() = default;

void AppState::willChange() {
    for (const auto &observer : m_observers)
        observer();
}

void AppState::emit(const QString &text, EventKind kind) {
    if (text.isEmpty())
        return;
    const Event event{kind, text, Clock::unixSeconds()};
    logger::log(logLevel(kind), text);
    if (updatesLastEvent(kind))
        lastEvent = firstLine(text);
    if (m_web && isForwarded(kind))
        m_web(toJson(EventMessage{kindName(kind), text, event.time}));
    for (const auto &receiver : m_receivers)
        receiver(event);
}

void AppState::emitFromAnywhere(const QString &text, EventKind kind) {
    onMain(this, [this, text, kind] { emit(text, kind); });
}

void AppState::setActivity(const std::optional<QString> &text, double linger, bool prominent,
                           const std::optional<QString> &detail) {
    m_activityClear.cancel();
    taskActivity = text;
    if (text)
        Notifier::update(*text, detail.value_or(m_task), prominent);
    // The timer is a member, so it cannot outlive the controller.
    if (linger > 0)
        m_activityClear = Loop::main().after(Clock::seconds(linger), [this] { taskActivity = std::nullopt; });
}

QString AppState::systemPrompt() const {
    return chooseSystemPrompt(config->systemPrompt, settings.cachedPrompt());
}

void AppState::setTaskState(bool nowBusy, int nowStep) {
    const bool changed = busy != nowBusy || step != nowStep;
    busy = nowBusy;
    step = nowStep;
    if (changed)
        sendState();
}

void AppState::sendState() {
    if (m_web)
        m_web(toJson(StateMessage{busy, step, activeCalls, sharing, status}));
}

QString AppState::workDir() {
    const auto path = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/ombru"_s;
    if (QDir().mkpath(path))
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

Task<> AppState::drain() {
    if (busy)
        cancelTask();
    co_await m_tasks.drain();
    m_activityClear.cancel();
}

} // namespace ombru
