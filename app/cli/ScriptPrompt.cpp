#include "app/cli/ScriptPrompt.h"

#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <termios.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

const QString QUESTION = u"Run it?  r: run · s WORDS: skip it, and tell the agent · q: stop the task"_s;
constexpr std::size_t LONGEST_LINE = 4096; // bytes; a terminal gives no more at once

} // namespace

std::optional<ScriptDecision> decisionOf(const QString &line) {
    using enum ScriptDecision::Choice;
    const auto text = line.trimmed();
    const auto choice = text.section(u' ', 0, 0).toLower();
    const auto word = text.section(u' ', 1).trimmed();
    if (choice == u"s" || choice == u"skip")
        return ScriptDecision{skip, word};
    if (!word.isEmpty())
        return {};
    if (choice == u"r" || choice == u"run")
        return ScriptDecision{run};
    return choice == u"q" || choice == u"stop" ? std::optional(ScriptDecision{stop}) : std::nullopt;
}

bool ScriptPrompt::canAsk() {
    return ::isatty(STDIN_FILENO) != 0 && ::isatty(STDOUT_FILENO) != 0 && ::tcgetpgrp(STDIN_FILENO) == ::getpgrp();
}

Task<ScriptDecision> ScriptPrompt::ask(std::stop_token stop) {
    m_output.showLive({});
    m_asking = true;
    ::tcflush(STDIN_FILENO, TCIFLUSH); // what was typed before is no answer
    std::optional<ScriptDecision> decision;
    while (!decision) {
        m_output.print(QUESTION, Colour::bold);
        const auto line = co_await typedLine(stop);
        decision = line ? decisionOf(*line) : ScriptDecision{};
    }
    m_asking = false;
    co_return *decision;
}

Task<std::optional<QString>> ScriptPrompt::typedLine(std::stop_token stop) {
    const Completion over;
    const auto typed = std::make_shared<std::optional<QString>>();
    QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [over, typed, &notifier] {
        std::array<char, LONGEST_LINE> bytes;
        const auto count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count < 0 && (errno == EINTR || errno == EAGAIN))
            return;
        notifier.setEnabled(false);
        if (count > 0)
            *typed = QString::fromUtf8(bytes.data(), count);
        over.fire();
    });
    const std::stop_callback onStop(stop, [over] { over.fire(); });
    co_await over;
    co_return *typed;
}

} // namespace ombru
