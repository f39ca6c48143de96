// The doors to the task loop, and what its reports become.

#include "base/Text.h"
#include "controller/AppState.h"
#include "controller/KeptConversation.h"
#include "controller/TaskLoop.h"
#include "controller/TaskText.h"
#include "notifier/Notifier.h"
#include "platform/SystemLog.h"
#include "wire/AgentMessages.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LONGEST_NAME = 255;

} // namespace

class AppState::TaskDoor : public TaskReports {
public:
    explicit TaskDoor(AppState &state) : m_state(state) {}

    void tell(const QString &text, EventKind kind, const TaskFact &fact) override { m_state.emit(text, kind, fact); }
    void showStatus(const QString &line) override { m_state.status = line; }
    void showActivity(const QString &text) override { m_state.setActivity(text); }
    void showProgress(const TaskProgress &progress) override { m_state.setTaskState(progress); }
    void sendState() override { m_state.sendState(); }
    bool wantsPictures() const override { return m_state.agentConnected; }
    void showPicture(int number, const QByteArray &jpeg) override {
        if (m_state.agentConnected)
            m_state.m_web.send(ScreenshotMessage{number, Clock::unixSeconds(), jpeg});
    }
    void blocked(const AppAutomation::Target &target) override {
        if (!m_state.blockedApps->contains(target))
            m_state.blockedApps.edit([&](auto &targets) { targets.append(target); });
    }
    QString howToAllow(const AppAutomation::Target &target) const override {
        const auto name = shownLine(target.name, LONGEST_NAME);
        const auto typed = AppAutomation::allowingCommand(target.id, target.name);
        return m_state.hasPanel ? u"To let scripts control %1: Allow in ombru's panel, or `%2`"_s.arg(name, typed)
                                : u"To let scripts control %1: `%2`"_s.arg(name, typed);
    }
    void conversationIs(const std::optional<QString> &id) override {
        if (const auto kept = keepConversation(id); !kept)
            logger::error(u"conversation: "_s + kept.error().description);
    }
    void ended(const TaskResult &result) override { m_state.noteResult(result); }

private:
    AppState &m_state;
};

std::unique_ptr<TaskLoop> AppState::makeTaskLoop() {
    return std::make_unique<TaskLoop>(settings, [this] { return systemPrompt(); }, std::make_unique<TaskDoor>(*this));
}

bool AppState::startTask(const QString &task, const std::optional<QString> &from, const std::optional<QString> &label,
                         const Remote &remote, const ScriptQuestion &confirm) {
    if (busy)
        return false;
    caller = from;
    return m_loop->start({task, from, label, remote, confirm});
}

bool AppState::cancelTask() {
    const bool ran = busy && m_loop->cancel();
    status = u"cancelling…"_s;
    return ran;
}

void AppState::newSession() {
    m_loop->newSession();
    emit(u"started a fresh Claude session"_s, EventKind::warn);
}

bool AppState::goOnWithLastConversation() {
    if (m_loop->hasConversation())
        return true;
    const auto kept = keptConversation();
    if (kept)
        m_loop->goOnWith(*kept);
    return kept.has_value();
}

void AppState::noteResult(const TaskResult &result) {
    setActivity(finishTitle(result.answer), 4, true, result.answer);
    caller = std::nullopt;
    lastResult = result;
    m_ends.tell(result);
}

} // namespace ombru
