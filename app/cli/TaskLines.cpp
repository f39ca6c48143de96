#include "app/cli/TaskLines.h"

#include "app/control/TaskReport.h"
#include "base/Clock.h"
#include "controller/TaskText.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QJsonValue rounded(double seconds) {
    return std::round(seconds * 1000) / 1000;
}

QJsonValue orNull(const std::optional<QString> &text) {
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

QByteArray line(const QString &type, double time, int step, QJsonObject fields) {
    fields[u"type"_s] = type;
    fields[u"time"_s] = rounded(time);
    fields[u"step"_s] = step;
    return QJsonDocument(fields).toJson(QJsonDocument::Compact);
}

QByteArray error(const QString &reason, const QString &text, int status) {
    return line(u"error"_s, Clock::unixSeconds(), 0,
                {{u"reason"_s, reason}, {u"text"_s, text.trimmed()}, {u"status"_s, status}});
}

struct Written {
    QString type;
    QJsonObject fields;
};

// A fact's own type and fields; without a type, the end tells it.
struct Write {
    const Event &event;

    Written operator()(std::monostate) const {
        return {u"note"_s, {{u"kind"_s, kindName(event.kind)}, {u"text"_s, event.text}}};
    }
    Written operator()(const TaskBegun &fact) const { return {u"task"_s, {{u"task"_s, fact.task}}}; }
    Written operator()(const StepBegun &fact) const { return {u"step"_s, {{u"most"_s, fact.most}}}; }
    Written operator()(const ScreenSeen &fact) const { return {u"screenshot"_s, {{u"file"_s, fact.file}}}; }
    Written operator()(const AgentReplied &fact) const {
        return {u"reply"_s, {{u"seconds"_s, rounded(fact.seconds)}, {u"session"_s, orNull(fact.session)}}};
    }
    Written operator()(const AgentSaid &fact) const { return {u"said"_s, {{u"text"_s, fact.text}}}; }
    Written operator()(const ScriptChosen &fact) const { return {u"script"_s, {{u"script"_s, fact.script}}}; }
    Written operator()(const ScriptRan &fact) const {
        return {u"result"_s, {{u"ok"_s, fact.ok}, {u"output"_s, fact.output}, {u"seconds"_s, rounded(fact.seconds)}}};
    }
    Written operator()(const ScriptRefused &fact) const {
        return {u"refused"_s, {{u"applications"_s, QJsonArray::fromStringList(fact.applications)}}};
    }
    Written operator()(const TaskFailed &fact) const { return {u"failure"_s, {{u"text"_s, fact.text}}}; }
    Written operator()(const ToldAtEnd &) const { return {}; }
};

} // namespace

std::optional<QByteArray> TaskLines::event(const Event &event) {
    if (std::holds_alternative<TaskBegun>(event.fact))
        m_begun = event.time;
    if (const auto *step = std::get_if<StepBegun>(&event.fact))
        m_step = step->number;
    if (const auto *reply = std::get_if<AgentReplied>(&event.fact))
        m_session = reply->session;
    const auto [type, fields] = std::visit(Write{event}, event.fact);
    return type.isEmpty() ? std::nullopt : std::optional(line(type, event.time, m_step, fields));
}

QByteArray TaskLines::end(const TaskResult &result) const {
    const int status = exitStatus(result.outcome);
    if (result.outcome == TaskResult::Outcome::desktopInUse)
        return error(u"busy"_s, desktopInUseText(), status);
    const auto now = Clock::unixSeconds();
    auto fields = taskReport(result)[u"ended"_s].toObject();
    fields[u"answer"_s] = result.answer;
    fields[u"session"_s] = orNull(m_session);
    fields[u"seconds"_s] = rounded(m_begun > 0 ? now - m_begun : 0);
    fields[u"status"_s] = status;
    return line(u"end"_s, now, m_step, fields);
}

QByteArray TaskLines::detached() {
    return line(u"detached"_s, Clock::unixSeconds(), 0, {});
}

QByteArray TaskLines::dropped(qint64 count, int step) {
    return line(u"dropped"_s, Clock::unixSeconds(), step, {{u"count"_s, count}});
}

QByteArray errorLine(const QString &text, int status) {
    return error(status == WRONG_WORDS ? u"usage"_s : u"unavailable"_s, text, status);
}

int exitStatus(TaskResult::Outcome outcome) {
    switch (outcome) {
    case TaskResult::Outcome::done:
        return 0;
    case TaskResult::Outcome::answered:
        return 3;
    case TaskResult::Outcome::cancelled:
        return 130;
    case TaskResult::Outcome::outOfSteps:
    case TaskResult::Outcome::failed:
    case TaskResult::Outcome::desktopInUse:
        return 1;
    }
    Q_UNREACHABLE();
}

} // namespace ombru
