#include "app/cli/Terminal.h"

#include "app/cli/Interrupt.h"
#include "base/Text.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cwchar>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

bool anyBroken = false; // the main thread's

const char *code(Colour colour) {
    switch (colour) {
    case Colour::plain:
        return "";
    case Colour::bold:
        return "\033[1m";
    case Colour::dim:
        return "\033[2m";
    case Colour::red:
        return "\033[31m";
    case Colour::green:
        return "\033[32m";
    case Colour::yellow:
        return "\033[33m";
    case Colour::blue:
        return "\033[34m";
    case Colour::magenta:
        return "\033[35m";
    case Colour::cyan:
        return "\033[36m";
    }
    Q_UNREACHABLE();
}

int columnsOf(const QString &character) {
    const auto first = character.toUcs4().value(0);
    return std::max(1, ::wcwidth(wchar_t(first)));
}

// False when nobody takes what is there already, and the owner wants an end: that must be heard.
bool waitForReader() {
    constexpr int GLANCE_MILLISECONDS = 100;
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    while (::poll(&output, 1, GLANCE_MILLISECONDS) <= 0) {
        if (Interrupt::isWanted())
            return false;
    }
    return true;
}

int terminalColumns() {
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace

QString printable(const QString &text) {
    QString shown;
    shown.reserve(text.size());
    for (qsizetype at = 0; at < text.size(); ++at) {
        const auto unit = text[at];
        const bool lineEnd = unit == u'\r' && at + 1 < text.size() && text[at + 1] == u'\n';
        if (lineEnd)
            continue;
        if (unit == u'\n' || unit == u'\t')
            shown += unit;
        else if (unit == u'\r')
            shown += u'\n'; // scripts answer with the line ends of their home system
        else if (unit.unicode() < 0x20)
            shown += QChar(0x2400 + unit.unicode());
        else if (unit.unicode() == 0x7f)
            shown += QChar(0x2421);
        else if (unit.unicode() >= 0x80 && unit.unicode() < 0xa0)
            shown += QChar(QChar::ReplacementCharacter);
        else
            shown += unit;
    }
    return withUnseenShown(shown);
}

QString asTyped(const QString &text) {
    constexpr qsizetype MOST = 60; // characters
    return printable(characterCount(text) > MOST ? firstCharacters(text, MOST) + u"…"_s : text);
}

QString fitColumns(const QString &text, int columns) {
    QString fitting;
    int used = 0;
    QString beforeLast;
    for (const auto &character : characters(text)) {
        const int wide = columnsOf(character);
        if (used + wide > columns)
            return beforeLast + u"…"_s;
        used += wide;
        if (used <= columns - 1)
            beforeLast = fitting + character;
        fitting += character;
    }
    return fitting;
}

Terminal::Terminal() : m_interactive(::isatty(STDOUT_FILENO)) {
    ::setlocale(LC_CTYPE, "C.UTF-8");
    m_colours = m_interactive && qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb";
    if (qgetenv("TERM") == "dumb")
        m_interactive = false;
}

Terminal::~Terminal() {
    showLive({});
}

int Terminal::statusWhenSeen(int status) const {
    if (!m_broken)
        return status;
    qCritical("The output could not be written.");
    return 1;
}

int Terminal::statusWhenAllSeen(int status) {
    if (status != 0 || !anyBroken)
        return status;
    qCritical("The output could not be written.");
    return 1;
}

void Terminal::giveUp() {
    m_broken = true;
    anyBroken = true;
}

void Terminal::print(const QString &text, Colour colour) {
    const auto live = m_live;
    showLive({});
    const auto lines = printable(text).toUtf8();
    if (m_colours && colour != Colour::plain)
        write(code(colour) + lines + "\033[0m\n");
    else
        write(lines + "\n");
    showLive(live);
}

void Terminal::complain(const QString &text) {
    const auto live = m_live;
    showLive({});
    qCritical("%s", qUtf8Printable(printable(text)));
    showLive(live);
}

void Terminal::printRaw(const QByteArray &line) {
    write(line + '\n');
}

void Terminal::showLive(const QString &text) {
    if (!m_interactive || text == m_live)
        return;
    m_live = text;
    write("\r\033[K" + (text.isEmpty() ? QByteArray() : fitColumns(printable(text), terminalColumns() - 1).toUtf8()));
}

void Terminal::write(const QByteArray &bytes) {
    for (qsizetype written = 0; written < bytes.size() && !m_broken;) {
        if (!waitForReader())
            return giveUp();
        // So much goes into a pipe that takes anything.
        const auto piece = std::min<qsizetype>(bytes.size() - written, PIPE_BUF);
        const auto count = ::write(STDOUT_FILENO, bytes.data() + written, std::size_t(piece));
        if (count > 0)
            written += count;
        else if (count < 0 && errno != EINTR)
            giveUp();
    }
}

} // namespace ombru
