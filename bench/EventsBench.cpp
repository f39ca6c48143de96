// From the emit of an event to the service: our controller and its channel beside Node's "ws", each a process of its
// own, in turns. The service's end is the least that it can be, and the same for both.
#include "bench/EventReceiver.h"
#include "bench/Race.h"
#include "bench/ServiceProcess.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>
#include <memory>
#include <vector>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

constexpr int ROUNDS = 10;
constexpr int EVENTS = 1000; // a round

class Emitter {
public:
    Emitter(QString name, QStringList command) : m_name(std::move(name)) {
        command.append(u"ws://127.0.0.1:%1/agent"_s.arg(m_receiver.port()));
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(command.first(), command.sliced(1));
        if (!m_process.waitForReadyRead())
            bench::fail(m_name.toStdString() + " does not connect");
    }
    ~Emitter() {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

    void emitEvents(int count) {
        m_process.write(QByteArray::number(count) + '\n');
        m_process.waitForBytesWritten();
        m_spans = m_receiver.waitFor(m_spans.size() + static_cast<std::size_t>(count));
    }
    const QString &name() const { return m_name; }
    double micros(double share) { return bench::micros(bench::percentile(m_spans, share)); }

private:
    QString m_name;
    bench::EventReceiver m_receiver;
    QProcess m_process;
    std::vector<bench::Span> m_spans;
};

std::vector<std::unique_ptr<Emitter>> emitters(const QString &service) {
    const auto own = QCoreApplication::applicationDirPath();
    std::vector<std::unique_ptr<Emitter>> all;
    all.push_back(std::make_unique<Emitter>(u"ours"_s, QStringList{own + u"/bench-event-emitter"_s, service}));
    const auto package = own + u"/../../ws/node_modules/ws"_s;
    if (QFile::exists(package))
        all.push_back(std::make_unique<Emitter>(
            u"Node's ws"_s, QStringList{u"node"_s, QStringLiteral(OMBRU_BENCH) + u"/event-emitter.cjs"_s, package}));
    else
        std::puts("Node's ws is missing: the npm registry was not reached");
    return all;
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    const bench::ServiceProcess service;
    const auto all = emitters(service.base());
    for (int round = 0; round < ROUNDS; ++round)
        for (const auto &one : all)
            one->emitEvents(EVENTS);
    std::printf(
        "\n### %d events, from the emit to the service\n\n| | p50, us | p99, us | most, us |\n|---|---:|---:|---:|\n",
        ROUNDS * EVENTS);
    for (const auto &one : all)
        std::printf("| %s | **%.0f** | **%.0f** | %.0f |\n", qUtf8Printable(one->name()), one->micros(0.5),
                    one->micros(0.99), one->micros(1));
}
