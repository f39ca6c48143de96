// An executable that stands in for another program: it records each call and plays what the test wrote for it.
// Files lie in a directory of its own; use from the test's thread.
#pragma once
#include <QByteArray>
#include <QString>
#include <QStringList>

namespace ombru::test {

class StandIn {
public:
    // Writes the executable to `path`; its files go to `directory`, which is made.
    StandIn(QString path, QString directory);

    // Shell code for call number `call` (from 1), and for every call without its own. "$n" is the number and "$d" the
    // directory; standard input has been read to "$d/input.$n".
    void play(int call, const QByteArray &shell);
    void playAlways(const QByteArray &shell);

    // Puts a file into the directory, for a play to use, and gives its path.
    QString file(const QString &name, const QByteArray &content);

    // Where a file of the directory is or will be.
    QString pathOf(const QString &name) const { return m_directory + u'/' + name; }

    int calls() const;
    QStringList arguments(int call) const;
    QByteArray input(int call) const;

private:
    QByteArray read(const QString &name) const;

    QString m_path;
    QString m_directory;
};

} // namespace ombru::test
