#include "bench/Served.h"

#include "bench/Race.h"

#include <QCoreApplication>
#include <QFile>

#include <csignal>
#include <ctime>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace ombru::bench {

using namespace Qt::StringLiterals;

namespace {

double ofProcess(qint64 process, const QString &name, QByteArrayView field) { // KiB
    QFile file(u"/proc/%1/%2"_s.arg(process).arg(name));
    if (!file.open(QIODevice::ReadOnly))
        fail("a server has ended");
    const auto text = file.readAll();
    const auto begin = text.indexOf(field) + field.size();
    return text.sliced(begin, text.indexOf("kB", begin) - begin).trimmed().toDouble();
}

} // namespace

std::vector<ServerKind> serverKinds(const QString &speech) {
    const auto own = QCoreApplication::applicationDirPath();
    std::vector<ServerKind> kinds{{u"ours"_s, {own + u"/bench-call-server"_s, u"ours"_s, speech}},
                                  {u"the least"_s, {own + u"/bench-least-server"_s}},
                                  {u"Qt's"_s, {own + u"/bench-call-server"_s, u"qt"_s}}};
    const auto package = own + u"/../../ws/node_modules/ws"_s;
    if (QFile::exists(package))
        kinds.push_back({u"Node's ws"_s, {u"node"_s, QStringLiteral(OMBRU_BENCH) + u"/ws-server.cjs"_s, package}});
    else
        std::puts("Node's ws is missing: the npm registry was not reached");
    return kinds;
}

Served::Served(const ServerKind &kind) {
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    m_process.start(kind.command.first(), kind.command.sliced(1));
    while (!m_process.canReadLine() && m_process.waitForReadyRead())
        continue;
    const auto line = m_process.readLine().trimmed();
    m_port = line.sliced(line.lastIndexOf(':') + 1).toUShort();
    if (m_port == 0)
        fail(kind.name.toStdString() + " does not listen");
}

Served::~Served() {
    m_process.kill();
    m_process.waitForFinished();
}

double Served::processorSeconds() const {
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(static_cast<pid_t>(m_process.processId()), &clock) != 0 ||
        ::clock_gettime(clock, &time) != 0)
        fail("a server has ended");
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

double Served::memory() const {
    return ofProcess(m_process.processId(), u"status"_s, "VmRSS:");
}

double Served::share() const {
    return ofProcess(m_process.processId(), u"smaps_rollup"_s, "Pss:");
}

void Served::end() {
    m_process.terminate();
    if (!m_process.waitForFinished())
        fail("a server does not end");
}

void raiseDescriptorLimit() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace ombru::bench
