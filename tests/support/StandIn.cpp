#include "tests/support/StandIn.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace ombru::test {

using namespace Qt::StringLiterals;

namespace {

constexpr auto SCRIPT = R"(#!/bin/bash
d='%1'
n=$(( $(cat "$d/count" 2>/dev/null || echo 0) + 1 ))
printf '%s\0' "$@" >"$d/arguments.$n"
cat >"$d/input.$n"
echo $n >"$d/count"
if [ -e "$d/play.$n" ]; then . "$d/play.$n"; else . "$d/play.always"; fi
)";

} // namespace

StandIn::StandIn(QString path, QString directory) : m_path(std::move(path)), m_directory(std::move(directory)) {
    QDir().mkpath(m_directory);
    QDir().mkpath(QFileInfo(m_path).path());
    QFile script(m_path);
    EXPECT_TRUE(script.open(QFile::WriteOnly | QFile::Truncate));
    script.write(QByteArray(SCRIPT).replace("%1", m_directory.toUtf8()));
    script.close();
    EXPECT_TRUE(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    playAlways("exit 99\n");
}

void StandIn::play(int call, const QByteArray &shell) {
    file(u"play.%1"_s.arg(call), shell);
}

void StandIn::playAlways(const QByteArray &shell) {
    file(u"play.always"_s, shell);
}

QString StandIn::file(const QString &name, const QByteArray &content) {
    QFile file(m_directory + u'/' + name);
    EXPECT_TRUE(file.open(QFile::WriteOnly | QFile::Truncate));
    file.write(content);
    return file.fileName();
}

int StandIn::calls() const {
    return read(u"count"_s).trimmed().toInt();
}

QStringList StandIn::arguments(int call) const {
    auto bytes = read(u"arguments.%1"_s.arg(call));
    bytes.chop(1);
    return QString::fromUtf8(bytes).split(QChar(u'\0'));
}

QByteArray StandIn::input(int call) const {
    return read(u"input.%1"_s.arg(call));
}

QByteArray StandIn::read(const QString &name) const {
    QFile file(m_directory + u'/' + name);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace ombru::test
