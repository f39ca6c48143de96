#include "bench/Resting.h"

#include "bench/ServiceProcess.h"
#include "settings/Settings.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <sys/prctl.h>
#include <unistd.h>

namespace ombru::bench {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto SAMPLE = 20ms; // between two looks

QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

qint64 numberBehind(const QByteArray &text, const char *name) {
    const auto at = text.indexOf(name);
    return at < 0 ? 0
                  : text.sliced(at + qsizetype(qstrlen(name)))
                        .trimmed()
                        .split(' ')
                        .first()
                        .split('\n')
                        .first()
                        .toLongLong();
}

double memory(const QString &process, const char *what = "\nPss:") { // MB
    return double(numberBehind(contents(u"/proc/"_s + process + u"/smaps_rollup"_s), what)) / 1024;
}

QStringList threads(const QString &process) {
    return QDir(u"/proc/"_s + process + u"/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
}

double memoryBelow(const QString &process) { // of all that it has started
    double sum = 0;
    for (const auto &child : children(process))
        sum += memory(child) + memoryBelow(child);
    return sum;
}

double processorSeconds(qint64 process) { // its own and those of what it started and has seen end
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(static_cast<pid_t>(process), &clock) != 0 || ::clock_gettime(clock, &time) != 0)
        fail("a program has ended");
    const auto fields = contents(u"/proc/%1/stat"_s.arg(process)).split(' '); // its name has no blank
    const auto ticks = fields.value(15).toLongLong() + fields.value(16).toLongLong();
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9 + double(ticks) / double(::sysconf(_SC_CLK_TCK));
}

// In the file that a computer without a store of secrets has: such a store would ask for a password first.
void keepToken() {
    const auto directory = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/ombru/secrets"_s;
    QDir().mkpath(directory);
    QFile file(directory + u"/device-token"_s);
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner))
        fail("no token");
    file.write(ServiceProcess::TOKEN);
}

} // namespace

QStringList children(const QString &process) {
    QStringList all;
    for (const auto &thread : threads(process))
        all += QString::fromLatin1(contents(u"/proc/%1/task/%2/children"_s.arg(process, thread)))
                   .split(u' ', Qt::SkipEmptyParts);
    return all;
}

Resting::Resting(const char *name, const QString &program, const QStringList &arguments) : m_name(name) {
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    m_process.start(QCoreApplication::applicationDirPath() + u'/' + program, arguments);
    if (!m_process.waitForStarted())
        fail(std::string(name) + " does not start");
}

Resting::~Resting() {
    end();
}

double Resting::end() {
    QElapsedTimer elapsed;
    elapsed.start();
    m_process.terminate();
    m_process.waitForFinished();
    return double(elapsed.nsecsElapsed()) / 1e6;
}

void Resting::begin() {
    m_wakes.clear();
    look();
    m_before = wakes();
    m_processor = processorSeconds(m_process.processId());
    m_most = 0;
}

void Resting::look() {
    for (const auto &thread : threads(id()))
        if (const auto status = contents(u"/proc/%1/task/%2/status"_s.arg(id(), thread)); !status.isEmpty())
            m_wakes[thread] = numberBehind(status, "\nvoluntary_ctxt_switches:");
    m_most = std::max(m_most, memoryBelow(id()));
}

Resting::Cost Resting::cost(double seconds) const {
    const auto own = memory(id());
    return {.memory = own,
            .resident = memory(id(), "\nRss:"),
            .memoryWithStarted = own + m_most,
            .wakes = double(wakes() - m_before) / seconds,
            .processor = (processorSeconds(m_process.processId()) - m_processor) * 3600 / seconds};
}

qint64 Resting::wakes() const {
    qint64 sum = 0;
    for (const auto &[thread, count] : m_wakes)
        sum += count;
    return sum;
}

void pass(const QList<Resting *> &all, qint64 milliseconds) {
    QElapsedTimer elapsed;
    elapsed.start();
    while (!elapsed.hasExpired(milliseconds)) {
        for (auto *one : all)
            one->look();
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(SAMPLE);
    }
}

void signInBefore(const ServiceProcess &service) {
    QDir().mkpath(QDir::homePath() + u"/.local/bin"_s);
    QFile::link(QCoreApplication::applicationDirPath() + u"/ombru-rehearsed-agent"_s,
                QDir::homePath() + u"/.local/bin/claude"_s);
    keepToken();
    if (Settings settings(Settings::defaultFile()); !settings.serverURL.write(service.base()))
        fail("no settings");
}

} // namespace ombru::bench
