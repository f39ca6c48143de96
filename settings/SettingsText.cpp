#include "settings/SettingsText.h"

#include "base/Text.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr QByteArrayView BYTE_ORDER_MARK = "\xef\xbb\xbf";
constexpr qsizetype SHOWN = 60; // characters of a line that cannot be read

enum class Kind { nothing, section, setting, unreadable };

struct Line {
    Kind kind = Kind::nothing;
    QByteArrayView word;  // of a section or setting
    QByteArrayView value; // of a setting, with its quotes; it is a piece of the line
};

bool isEscape(QByteArrayView text, qsizetype at) {
    return text[at] == '\\' && at + 1 < text.size();
}

// Where a value in quotes ends; nothing when more follows than a comment, so that the quotes are the owner's own.
std::optional<qsizetype> quotedSize(QByteArrayView text) {
    for (qsizetype at = 1; at < text.size(); ++at) {
        if (isEscape(text, at)) {
            ++at;
        } else if (text[at] == '"') {
            const auto rest = text.sliced(at + 1).trimmed();
            return rest.isEmpty() || rest[0] == ';' ? std::optional(at + 1) : std::nullopt;
        }
    }
    return std::nullopt;
}

// Without the comment behind it.
QByteArrayView valueOf(QByteArrayView text) {
    if (text.startsWith('"'))
        if (const auto size = quotedSize(text))
            return text.first(*size);
    bool quoted = false;
    for (qsizetype at = 0; at < text.size(); ++at) {
        if (isEscape(text, at))
            ++at;
        else if (text[at] == '"')
            quoted = !quoted;
        else if (text[at] == ';' && !quoted)
            return text.first(at).trimmed();
    }
    return text;
}

Line read(QByteArrayView bytes) {
    const auto text = (bytes.startsWith(BYTE_ORDER_MARK) ? bytes.sliced(BYTE_ORDER_MARK.size()) : bytes).trimmed();
    if (text.isEmpty() || text[0] == '#' || text[0] == ';')
        return {};
    if (text[0] == '[') {
        const auto end = text.indexOf(']');
        return end < 0 ? Line{Kind::unreadable, {}, {}} : Line{Kind::section, text.sliced(1, end - 1).trimmed(), {}};
    }
    const auto equals = text.indexOf('=');
    if (equals < 1)
        return {Kind::unreadable, {}, {}};
    return {Kind::setting, text.first(equals).trimmed(), valueOf(text.sliced(equals + 1).trimmed())};
}

bool isGeneral(const Line &section) {
    return section.word.compare("general", Qt::CaseInsensitive) == 0;
}

// The character code behind "\x", and how many digits it has: four at most.
std::pair<char16_t, qsizetype> hexadecimal(QStringView digits) {
    char16_t code = 0;
    qsizetype size = 0;
    for (; size < std::min<qsizetype>(digits.size(), 4); ++size) {
        bool isDigit = false;
        const auto digit = digits.sliced(size, 1).toUShort(&isDigit, 16);
        if (!isDigit)
            break;
        code = static_cast<char16_t>(code * 16 + digit);
    }
    return {code, size};
}

constexpr QStringView ESCAPED = u"\\\"\n\r\t\a\b\f\v";
constexpr QStringView ESCAPES = u"\\\"nrtabfv";

// What an escape that begins there stands for, and its size; what is no escape stands for itself.
std::pair<QChar, qsizetype> unescapedAt(QStringView text, qsizetype at) {
    if (text[at] != u'\\' || at + 1 == text.size())
        return {text[at], 1};
    const auto next = text[at + 1];
    if (const auto known = ESCAPES.indexOf(next); known >= 0)
        return {ESCAPED[known], 2};
    if (next == u'0')
        return {QChar(u'\0'), 2};
    const auto [code, size] = next == u'x' ? hexadecimal(text.sliced(at + 2)) : std::pair<char16_t, qsizetype>();
    return size > 0 ? std::pair(QChar(code), size + 2) : std::pair(QChar(u'\\'), qsizetype(1));
}

QString decoded(QByteArrayView value) {
    const bool quoted = value.startsWith('"') && quotedSize(value) == value.size();
    const auto text = QString::fromUtf8(quoted ? value.sliced(1, value.size() - 2) : value);
    QString result;
    for (qsizetype at = 0; at < text.size();) {
        const auto [character, size] = unescapedAt(text, at);
        result += character;
        at += size;
    }
    // QSettings marks a text that begins so.
    return result.startsWith(u"@@"_s) ? result.sliced(1) : result;
}

// As QSettings writes it.
QByteArray encoded(const QString &value) {
    QString result = value.startsWith(u'@') ? u"@"_s : QString();
    for (const auto character : value) {
        if (const auto known = ESCAPED.indexOf(character); known >= 0)
            result += u'\\' + ESCAPES[known];
        else if (character < u' ')
            result += u"\\x"_s + QString::number(character.unicode(), 16).rightJustified(4, u'0');
        else
            result += character;
    }
    const bool spaced = value.startsWith(u' ') || value.endsWith(u' ');
    const bool special = value.contains(u';') || value.contains(u',') || value.contains(u'=');
    return (spaced || special ? u'"' + result + u'"' : result).toUtf8();
}

} // namespace

SettingsText::SettingsText(const QByteArray &bytes) : m_lines(bytes.split('\n')) {}

std::optional<QString> SettingsText::value(QStringView key) const {
    const auto line = lineOf(key);
    return line < 0 ? std::nullopt : std::optional(decoded(read(m_lines[line]).value));
}

void SettingsText::set(QStringView key, const QString &value) {
    const auto text = encoded(value);
    if (const auto number = lineOf(key); number >= 0) {
        auto &line = m_lines[number];
        const auto old = read(line).value;
        const auto at = old.isEmpty() ? line.indexOf('=') + 1 : old.data() - line.constData();
        line.replace(at, old.size(), text);
        return;
    }
    const auto number = lineForMore();
    m_lines.insert(number, key.toUtf8() + '=' + text);
    if (number + 1 == m_lines.size())
        m_lines.append(QByteArray());
}

QList<SettingsText::Unreadable> SettingsText::unreadable() const {
    QList<Unreadable> found;
    for (qsizetype number = 0; number < m_lines.size(); ++number) {
        const auto &line = m_lines[number];
        if (read(line).kind == Kind::unreadable)
            found.append({number + 1, firstCharacters(repairedUtf8(line).trimmed(), SHOWN)});
    }
    return found;
}

qsizetype SettingsText::lineOf(QStringView key) const {
    const auto wanted = key.toUtf8();
    qsizetype found = -1;
    bool general = true;
    for (qsizetype number = 0; number < m_lines.size(); ++number) {
        const auto line = read(m_lines[number]);
        if (line.kind == Kind::section)
            general = isGeneral(line);
        else if (line.kind == Kind::setting && general && line.word == wanted)
            found = number;
    }
    return found;
}

// Behind the last of the general ones, before the blank lines that end them.
qsizetype SettingsText::lineForMore() const {
    qsizetype place = 0;
    bool general = true;
    for (qsizetype number = 0; number < m_lines.size(); ++number) {
        const auto line = read(m_lines[number]);
        if (line.kind == Kind::section)
            general = isGeneral(line);
        if (general && !m_lines[number].trimmed().isEmpty())
            place = number + 1;
    }
    return place;
}

} // namespace ombru
