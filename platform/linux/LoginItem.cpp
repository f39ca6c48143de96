#include "platform/LoginItem.h"

#include "base/WholeFile.h"
#include "platform/linux/applications/DesktopEntry.h"
#include "platform/linux/system/ProcessStat.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

std::unexpected<Failure> failed(const QString &why) {
    return std::unexpected(Failure{u"login"_s, 1, why});
}

// One word of an Exec line: quoted, with what means something in quotes and in such files escaped.
QString execWord(const QString &word) {
    QString escaped;
    for (const QChar letter : word) {
        if (letter == u'\\')
            escaped += u"\\\\\\\\"_s;
        else if (letter == u'"' || letter == u'`' || letter == u'$')
            escaped += u"\\\\"_s + letter;
        else
            escaped += letter == u'%' ? u"%%"_s : QString(letter);
    }
    return u'"' + escaped + u'"';
}

// As its owner types it, where that leads here: the link stays when what is behind it moves.
QString program() {
    const QFileInfo here(processProgram(u"/proc/self"_s));
    const auto typed = QStandardPaths::findExecutable(here.fileName());
    const bool leadsHere = !typed.isEmpty() && QFileInfo(typed).canonicalFilePath() == here.canonicalFilePath();
    return leadsHere ? QFileInfo(typed).absoluteFilePath() : here.filePath();
}

// With it no window shows by itself.
const QString AT_LOGIN = u"--at-login"_s;

QByteArray execLine() {
    return "Exec=" + execWord(program()).toUtf8() + ' ' + AT_LOGIN.toUtf8();
}

QByteArray entry() {
    return "[Desktop Entry]\nType=Application\nName=ombru\nComment=An agent that operates this computer for you\n" +
           execLine() + "\nIcon=ombru\nTerminal=false\nX-GNOME-Autostart-enabled=true\n";
}

// Whether it starts one program, as ours does or without arguments, that is there no more.
bool isStale(const QByteArray &content) {
    const auto written = parseDesktopEntry(u"ombru"_s, loginItemPath(), content, u"C"_s);
    if (!written)
        return false;
    const auto commands = commandLines(*written, {});
    if (!commands || commands->size() != 1)
        return false;
    const auto &words = commands->first();
    if (words.isEmpty() || words.size() > 2 || words.value(1, AT_LOGIN) != AT_LOGIN)
        return false;
    const QFileInfo named(words.first());
    return named.isAbsolute() && !named.exists();
}

} // namespace

Result<> registerLoginItem() {
    const auto path = loginItemPath();
    if (QFile::exists(path))
        return {};
    if (!QDir().mkpath(QFileInfo(path).path()))
        return failed(u"%1: its directory cannot be made"_s.arg(path));
    if (const auto written = writeWholeFile(path, entry()); !written)
        return failed(written.error().description);
    return {};
}

Result<> repairLoginItem() {
    QFile file(loginItemPath());
    if (!file.open(QFile::ReadOnly))
        return {};
    const auto content = file.readAll();
    if (!isStale(content))
        return {};
    auto lines = content.split('\n');
    for (auto &line : lines)
        if (line.startsWith("Exec="))
            line = execLine();
    if (const auto written = writeWholeFile(loginItemPath(), lines.join('\n')); !written)
        return failed(written.error().description);
    return {};
}

QString loginItemPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/autostart/ombru.desktop"_s;
}

} // namespace ombru
