#include "app/cli/Terminal.h"

#include "app/cli/Interrupt.h"
#include "app/cli/Suspension.h"
#include "base/Text.h"

#include <QSocketNotifier>

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

constexpr qsizetype MOST_UNREAD = 4 << 20; // bytes

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

bool isTaken(int milliseconds) {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return ::poll(&output, 1, milliseconds) > 0;
}

// False when nobody takes what is there already, and the owner wants an end: that must be heard.
bool waitForReader() {
    constexpr int GLANCE_MILLISECONDS = 100;
    constexpr int LAST_GLANCES = 5; // once the owner has wanted an end, and that was heard
    for (int glances = LAST_GLANCES; !isTaken(GLANCE_MILLISECONDS);) {
        if (Interrupt::isWanted() || (Interrupt::wasWanted() && --glances == 0))
            return false;
        Suspension::takePlace();
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
    setPatient(false);
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
    const bool wouldPileUp = !m_unread.isEmpty();
    if (!m_interactive || text == m_live || wouldPileUp)
        return;
    m_live = text;
    write("\r\033[K" + (text.isEmpty() ? QByteArray() : fitColumns(printable(text), terminalColumns() - 1).toUtf8()));
}

void Terminal::setPatient(bool patient) {
    m_patient = patient;
    m_onReader.reset();
    if (m_patient) {
        m_onReader = std::make_unique<QSocketNotifier>(STDOUT_FILENO, QSocketNotifier::Write);
        m_onReader->setEnabled(false);
        QObject::connect(m_onReader.get(), &QSocketNotifier::activated, m_onReader.get(), [this] { write({}); });
    } else {
        write({});
    }
}

void Terminal::write(const QByteArray &bytes) {
    m_unread += bytes;
    qsizetype written = 0;
    while (written < m_unread.size() && !m_broken) {
        const bool mayWait = !m_patient || m_unread.size() - written > MOST_UNREAD;
        if (!mayWait && !isTaken(0))
            break;
        if (!waitForReader())
            giveUp();
        else
            written += writePiece(QByteArrayView(m_unread).sliced(written));
    }
    m_unread.remove(0, m_broken ? m_unread.size() : written);
    if (m_onReader)
        m_onReader->setEnabled(!m_unread.isEmpty());
}

qsizetype Terminal::writePiece(QByteArrayView bytes) {
    // So much goes into a pipe that takes anything.
    const auto piece = std::min<qsizetype>(bytes.size(), PIPE_BUF);
    const auto count = ::write(STDOUT_FILENO, bytes.data(), std::size_t(piece));
    if (count < 0 && errno != EINTR)
        giveUp();
    return std::max<ssize_t>(count, 0);
}

} // namespace ombru
