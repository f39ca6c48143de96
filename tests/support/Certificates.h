// An authority of a test's own, and certificates that it gives, made by the openssl command.
#pragma once
#include <QDir>
#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QTemporaryDir>

#include <cstdlib>

namespace ombru::test {

class Authority {
public:
    Authority() { run("openssl req -x509 " + NEW_KEY + " -keyout ca.key -out ca.pem -subj /CN=authority -days 2"); }

    QString file() const { return m_directory.filePath(QStringLiteral("ca.pem")); }

    // For a server of that name; valid for that many days from now, or until as many before.
    QSslConfiguration certify(const QByteArray &host = "localhost", int days = 2) const {
        run("openssl req " + NEW_KEY + " -keyout host.key -out host.csr -subj /CN=" + host +
            " -addext subjectAltName=DNS:" + host);
        run("openssl x509 -req -in host.csr -CA ca.pem -CAkey ca.key -CAcreateserial -copy_extensions copy -out "
            "host.pem "
            "-days " +
            QByteArray::number(days));
        auto configuration = QSslConfiguration::defaultConfiguration();
        configuration.setLocalCertificate(QSslCertificate(read("host.pem")));
        configuration.setPrivateKey(QSslKey(read("host.key"), QSsl::Ec));
        configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
        return configuration;
    }

private:
    static inline const QByteArray NEW_KEY = "-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes";

    void run(const QByteArray &command) const {
        if (std::system(
                ("cd " + QFile::encodeName(m_directory.path()) + " && " + command + " 2>/dev/null").constData()))
            std::abort();
    }
    QByteArray read(const char *name) const {
        QFile file(m_directory.filePath(QString::fromLatin1(name)));
        return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_directory;
};

} // namespace ombru::test
