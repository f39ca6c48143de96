// The text of a settings file, as its owner wrote it: KEY=VALUE lines, comments after # or ;, blank lines, sections in
// [brackets]. Settings stand before the first section or in [General]. A value may be in quotes, and has \n, \t, \", \\
// and \xHHHH as it would in a file that QSettings wrote. To set one changes its line, or adds a line; every other byte
// stays. Pure.
#pragma once
#include <QByteArrayList>
#include <QString>

#include <optional>

namespace ombru {

class SettingsText {
public:
    explicit SettingsText(const QByteArray &bytes);

    // Of the last line with that key.
    std::optional<QString> value(QStringView key) const;
    void set(QStringView key, const QString &value);

    // Lines that are none of what a settings file has; each costs itself only.
    struct Unreadable {
        qsizetype number; // from 1
        QString text;
    };
    QList<Unreadable> unreadable() const;

    QByteArray bytes() const { return m_lines.join('\n'); }

private:
    qsizetype lineOf(QStringView key) const; // -1: there is none
    qsizetype lineForMore() const;           // where a further setting belongs

    QByteArrayList m_lines; // what stands between line ends
};

} // namespace ombru
