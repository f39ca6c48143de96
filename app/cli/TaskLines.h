// What happens in a task, for programs: JSON objects, one a line, as docs/run-json.schema.json describes them. Main
// thread; one for each task.
#pragma once
#include "controller/Event.h"
#include "controller/TaskResult.h"

#include <QJsonObject>

#include <optional>

namespace ombru {

constexpr int WRONG_WORDS = 2; // the status of what is typed wrong

class TaskLines {
public:
    std::optional<QByteArray> event(const Event &event); // none: the end tells it
    QByteArray end(const TaskResult &result) const;      // the last one
    static QByteArray detached();                        // the last one of a task that goes on without the reader
    static QByteArray dropped(qint64 count, int step);   // so many came faster than they were taken

private:
    int m_step = 0; // of the task, from 1
    double m_begun = 0;
    std::optional<QString> m_session;
};

// Why there is no task; `status` is the program's.
QByteArray errorLine(const QString &text, int status);

// The status that the program ends with.
int exitStatus(TaskResult::Outcome outcome);

} // namespace ombru
