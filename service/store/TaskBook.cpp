#include "service/store/TaskBook.h"

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView ARROW = u" ❯ ";
constexpr QStringView DONE = u"✓ ";
constexpr QStringView SAID = u"claude: ";
constexpr QStringView CANCELLED = u"cancelled";
constexpr QStringView OUT_OF_STEPS = u"── hit max steps";
const QString UNKNOWN = u"unknown"_s;

} // namespace

std::optional<TaskRecord> TaskBook::begunBy(const EventMessage &event, double now) {
    const auto arrow = event.text.indexOf(ARROW);
    const bool phone = event.kind == "call"_L1 && event.text.startsWith(u'☎') && arrow >= 0;
    if (!phone && event.kind != "user"_L1)
        return std::nullopt;
    TaskRecord task;
    task.text = arrow < 0 ? event.text : event.text.sliced(arrow + ARROW.size());
    task.from = phone ? u"phone"_s : event.text.startsWith("web"_L1) ? u"web"_s : u"terminal"_s;
    task.began = now;
    return task;
}

void TaskBook::begin(TaskRecord task) {
    m_task = std::move(task);
    m_lost = false;
    conclude(UNKNOWN);
}

void TaskBook::note(const EventMessage &event) {
    if (!isRunning())
        return;
    if (event.kind == "good"_L1 && event.text.startsWith(DONE))
        conclude(u"done"_s, event.text.sliced(DONE.size()));
    else if (event.kind == "claude"_L1)
        conclude(u"answered"_s, event.text.startsWith(SAID) ? event.text.sliced(SAID.size()) : event.text);
    else if (event.kind == "bad"_L1)
        conclude(u"failed"_s, event.text);
    else if (event.kind == "warn"_L1 && event.text.startsWith(OUT_OF_STEPS))
        conclude(u"unfinished"_s, event.text);
    else if (event.kind == "warn"_L1 && event.text == CANCELLED)
        conclude(u"stopped"_s);
    else if (event.kind == "code"_L1 || event.kind == "result"_L1)
        conclude(UNKNOWN);
}

bool TaskBook::note(const StateMessage &state, double now) {
    if (!state.busy)
        return end(now);
    if (m_lost) { // it was at it all the time
        m_task->ended.reset();
        m_task->outcome = u"running"_s;
        m_task->answer.clear();
        m_lost = false;
        noteStep(state.step);
        return true;
    }
    return noteStep(state.step);
}

bool TaskBook::noteStep(int step) {
    if (!isRunning() || m_task->steps >= step)
        return false;
    m_task->steps = step;
    return true;
}

bool TaskBook::lose(double now) {
    if (!isRunning())
        return false;
    m_lost = m_outcome == UNKNOWN;
    m_task->ended = std::max(now, m_task->began); // the clock may have been set back
    m_task->outcome = m_outcome;
    m_task->answer = m_answer;
    return true;
}

bool TaskBook::end(double now) {
    m_lost = false;
    if (!isRunning())
        return false;
    m_task->ended = std::max(now, m_task->began); // the clock may have been set back
    m_task->outcome = m_outcome;
    m_task->answer = m_answer;
    return true;
}

void TaskBook::conclude(const QString &outcome, const QString &answer) {
    m_outcome = outcome;
    m_answer = answer;
}

} // namespace ombru
