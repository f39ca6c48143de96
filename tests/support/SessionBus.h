// A session bus of a test's own, ended with the object. It starts no services. While it lives the environment names it.
#pragma once
#include "tests/support/Companion.h"
#include "tests/support/Variable.h"

#include <QFile>
#include <QTemporaryDir>

namespace ombru::test {

class SessionBus {
public:
    SessionBus() : SessionBus(std::make_shared<QTemporaryDir>()) {}
    // In that directory, where a bus may have been before: it gets the same address.
    explicit SessionBus(std::shared_ptr<QTemporaryDir> directory)
        : m_directory(std::move(directory)), m_daemon({"dbus-daemon", "--config-file=" + configuration(), "--nofork",
                                                       "--nopidfile", "--print-address=%fd"},
                                                      "dbus-daemon"),
          m_address("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + socket()) {}

    QByteArray address() const { return "unix:path=" + socket(); }
    std::shared_ptr<QTemporaryDir> directory() const { return m_directory; }
    void signal(int number) const { m_daemon.signal(number); }

private:
    QByteArray socket() const { return QFile::encodeName(m_directory->filePath(QStringLiteral("bus"))); }
    QByteArray configuration() const {
        QFile file(m_directory->filePath(QStringLiteral("bus.conf")));
        QFile::remove(QFile::decodeName(socket()));
        if (!file.open(QIODevice::WriteOnly))
            std::abort();
        file.write("<busconfig><type>session</type><listen>unix:path=" + socket() +
                   "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\" "
                   "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>");
        return QFile::encodeName(file.fileName());
    }

    std::shared_ptr<QTemporaryDir> m_directory;
    Companion m_daemon;
    Variable m_address;
};

} // namespace ombru::test
