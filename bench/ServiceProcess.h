// The account service's stand-in in a process of its own, which ends with this object. It knows one token. Main thread,
// with an application running.
#pragma once
#include <QCoreApplication>
#include <QProcess>

namespace ombru::bench {

class ServiceProcess {
public:
    ServiceProcess() {
        using namespace Qt::StringLiterals;
        m_process.start(QCoreApplication::applicationDirPath() + u"/../tests/ombru-service-stand-in"_s, {u"0"_s});
        while (m_printed.count('\n') == 0 && m_process.waitForReadyRead())
            read();
        m_base = m_printed.trimmed().mid(QByteArrayView("listens on ").size());
        QObject::connect(&m_process, &QProcess::readyRead, &m_process, [this] { read(); });
    }
    ~ServiceProcess() {
        m_process.kill();
        m_process.waitForFinished();
    }
    QString base() const { return QString::fromUtf8(m_base); }
    qsizetype count(const char *text) const { return m_printed.count(text); }
    bool has(const char *text) const { return m_printed.contains(text); }
    void say(const QByteArray &line) { m_process.write(line + '\n'); } // a task for the computer
    void forget() { m_printed.clear(); }

    static constexpr auto TOKEN = "stand-in-token";

private:
    void read() { m_printed += m_process.readAll(); }

    QProcess m_process;
    QByteArray m_printed;
    QByteArray m_base;
};

} // namespace ombru::bench
