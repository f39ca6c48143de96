#include "tests/support/rehearsed/Agent.h"

#include "tests/support/rehearsed/Message.h"

namespace ombru::rehearsed {
namespace {

using namespace Qt::StringLiterals;

QString tasksOf(const QList<Scenario> &scenarios) {
    QStringList tasks;
    for (const auto &scenario : scenarios)
        tasks.append(u"“%1”"_s.arg(scenario.task));
    return tasks.isEmpty() ? u"no task at all"_s : tasks.join(u", "_s);
}

Saying unknownTask(const QString &task, const QList<Scenario> &scenarios) {
    return {
        u"I am the rehearsed agent, a stand-in for the claude tool: I cannot think, I only know some tasks by "
        "heart, and “%1” is not among them. I know: %2. Install and sign in to claude for everything else."_s.arg(
            task, tasksOf(scenarios)),
        {},
        false};
}

QString filledIn(QString text, const Message &message) {
    const auto put = [&](const QString &name, int value) { text.replace(name, QString::number(value)); };
    put(u"{{image.width}}"_s, message.image->width());
    put(u"{{image.height}}"_s, message.image->height());
    put(u"{{screen.width}}"_s, message.points->width());
    put(u"{{screen.height}}"_s, message.points->height());
    return text;
}

// A question that shows no screen: the check whether the tool works at all.
Saying withoutScreen(const QString &prompt) {
    const auto exactly = u"Reply with exactly: "_s;
    if (prompt.startsWith(exactly))
        return {prompt.mid(exactly.size()), {}, false};
    return {
        u"I am the rehearsed agent: I only answer tasks that come with a picture of the screen."_s, {}, false};
}

Saying play(const Scenario &scenario, const Message &message, Conversation &conversation) {
    const auto *answer = answerFor(scenario, conversation.turn, message.text);
    if (!answer)
        return {u"My scenario %1 has no answer for turn %2 to this message, so I stop here."_s.arg(
                    scenario.name, QString::number(conversation.turn)),
                {},
                true};
    conversation.turn = answer->next.value_or(conversation.turn + 1);
    return {filledIn(answer->text, message), answer->behaviour, true};
}

} // namespace

Saying respond(const Options &options, const QList<Scenario> &scenarios, Conversation &conversation) {
    const auto message = parseMessage(options.prompt);
    conversation.messages.append(message.text);
    if (message.task) {
        conversation.task = *message.task;
        conversation.turn = 1;
    } else if (!message.screenshot) {
        return withoutScreen(options.prompt);
    }
    if (!options.tools.contains(u"Read"_s))
        return {u"I could not look at the screen: I may not use the Read tool."_s, {}, false};
    if (const auto seen = look(message); !seen)
        return {u"I could not look at the screen: "_s + seen.error().description, {}, true};
    const auto *scenario = scenarioFor(scenarios, conversation.task);
    return scenario ? play(*scenario, message, conversation) : unknownTask(conversation.task, scenarios);
}

} // namespace ombru::rehearsed
