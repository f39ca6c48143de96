#include "app/cli/TerminalQuestion.h"

#include <QSocketNotifier>

#include <array>
#include <termios.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// The terminal hands over whole lines.
QString readLine() {
    std::array<char, 1024> line{};
    const auto count = ::read(STDIN_FILENO, line.data(), line.size());
    return QString::fromUtf8(line.data(), std::max<ssize_t>(count, 0)).trimmed();
}

bool isYes(const QString &answer) {
    return answer.compare(u"y"_s, Qt::CaseInsensitive) == 0 || answer.compare(u"yes"_s, Qt::CaseInsensitive) == 0;
}

} // namespace

// A program in the background would be stopped by the system for reading.
bool canAsk(const Terminal &terminal) {
    return terminal.isInteractive() && ::isatty(STDIN_FILENO) && ::tcgetpgrp(STDIN_FILENO) == ::getpgrp();
}

Task<bool> ask(Terminal *terminal, QString question, std::stop_token stop) {
    ::tcflush(STDIN_FILENO, TCIFLUSH);
    terminal->print(question + u" [y/N]"_s); // whole, however narrow the terminal is
    const Completion answered;
    QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [answered, &notifier] {
        notifier.setEnabled(false);
        answered.fire();
    });
    const std::stop_callback onStop(stop, [answered] { answered.fire(); });
    co_await answered;
    const bool yes = !stop.stop_requested() && isYes(readLine());
    co_return yes;
}

} // namespace ombru
