// Which task a computer is at, told from what it says: it begins with the line that names it, and ends when the
// computer is no longer busy, with the next one, or when the channel is lost. How it ended is told by the last line
// that says so. Pure; belongs to one thread.
#pragma once
#include "service/store/Records.h"

namespace ombru {

class TaskBook {
public:
    TaskBook() = default;
    // What is kept of a computer: its last task, and whether that one ended because the channel was lost.
    TaskBook(std::optional<TaskRecord> last, bool lost) : m_task(std::move(last)), m_lost(lost) {}

    // The new task of a line that begins one, without its number.
    static std::optional<TaskRecord> begunBy(const EventMessage &event, double now);

    void begin(TaskRecord task);

    void note(const EventMessage &event);

    // Whether the task is another one afterwards than before.
    bool note(const StateMessage &state, double now);
    bool noteStep(int step);
    bool lose(double now);
    bool end(double now); // the next one begins

    const std::optional<TaskRecord> &task() const { return m_task; } // the last one, running or not
    bool isRunning() const { return m_task && !m_task->ended; }
    bool isLost() const { return m_lost; }
    int step() const { return isRunning() ? m_task->steps : 0; }

private:
    void conclude(const QString &outcome, const QString &answer = {});

    std::optional<TaskRecord> m_task;
    bool m_lost = false;
    QString m_outcome = QStringLiteral("unknown"); // as far as the lines tell
    QString m_answer;
};

} // namespace ombru
