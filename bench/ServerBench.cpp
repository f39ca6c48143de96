// The call server as a server: how fast it gives texts back, lets clients in, and what memory they take, beside the
// least server, Qt's and Node's. In turns within each round; the figures are those of each server's best round.
#include "bench/Clients.h"
#include "bench/Race.h"
#include "bench/Served.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <memory>

using namespace ombru;
using namespace std::chrono_literals;

namespace {

constexpr int ROUNDS = 5;
constexpr bench::Span TURN = 1s;
constexpr qsizetype MEDIA = 360; // bytes: about those of a frame of sound
constexpr qsizetype LARGE = 64 << 10;
constexpr int AT_ONCE = 50; // that come and go
constexpr int MANY = 1000;

struct Contestant {
    bench::ServerKind kind;
    std::unique_ptr<bench::Served> server;

    std::string name() const { return kind.name.toStdString(); }
    quint16 port() const { return server->port(); }
};

std::vector<Contestant> contestants() {
    std::vector<Contestant> all;
    for (const auto &kind : bench::serverKinds())
        all.push_back({kind, std::make_unique<bench::Served>(kind)});
    return all;
}

void printEchoes(const std::vector<Contestant> &all, int clients, qsizetype size) {
    std::vector<bench::Echoes> best(all.size());
    for (int round = 0; round < ROUNDS; ++round)
        for (std::size_t at = 0; at < all.size(); ++at) {
            const auto echoes = bench::Clients(all[at].port(), "/", clients).echo(size, TURN);
            if (echoes.perSecond > best[at].perSecond)
                best[at] = echoes;
        }
    for (std::size_t at = 0; at < all.size(); ++at)
        std::printf("| %d of %lld bytes | %s | **%.2f** | %.0f | %.2f |\n", clients, static_cast<long long>(size),
                    all[at].name().c_str(), best[0].perSecond / best[at].perSecond, best[at].perSecond,
                    bench::micros(best[at].slowest) / 1000);
    std::fflush(stdout);
}

void printAllEchoes(const std::vector<Contestant> &all) {
    std::printf("\n### Texts given back\n\n"
                "| clients | server | ours is so many times as fast | texts a second | p99, ms |\n"
                "|---|---|---:|---:|---:|\n");
    for (const int clients : {1, 50, 200, MANY})
        printEchoes(all, clients, MEDIA);
    printEchoes(all, 50, LARGE);
}

struct Upgrades {
    double perSecond = 0;
    double each = 1e9; // microseconds of the processor
};

Upgrades upgrades(const bench::Served &server) {
    const auto before = server.processorSeconds();
    const auto count = double(bench::comeAndGo(server.port(), AT_ONCE, TURN));
    return {count / std::chrono::duration<double>(TURN).count(), (server.processorSeconds() - before) * 1e6 / count};
}

void printUpgrades(const std::vector<Contestant> &all) {
    std::vector<Upgrades> best(all.size());
    for (int round = 0; round < ROUNDS; ++round)
        for (std::size_t at = 0; at < all.size(); ++at) {
            const auto now = upgrades(*all[at].server);
            best[at] = {std::max(best[at].perSecond, now.perSecond), std::min(best[at].each, now.each)};
        }
    std::printf("\n### Clients that come and go, %d at a time\n\n"
                "| server | processor time of ours | upgrades a second | processor, us each |\n|---|---:|---:|---:|\n",
                AT_ONCE);
    for (std::size_t at = 0; at < all.size(); ++at)
        std::printf("| %s | **%.2f** times that | %.0f | %.1f |\n", all[at].name().c_str(),
                    best[0].each / best[at].each, best[at].perSecond, best[at].each);
}

// Of a new server: what was once taken is not given back.
void printMemory() {
    std::printf("\n### Memory of %d clients that have each had a text back\n\n"
                "| server | KiB a client | all, MiB |\n|---|---:|---:|\n",
                MANY);
    for (const auto &kind : bench::serverKinds()) {
        const bench::Served server(kind);
        bench::Clients(server.port(), "/", 1).echo(MEDIA, 100ms);
        const auto before = server.memory();
        bench::Clients clients(server.port(), "/", MANY);
        clients.echo(MEDIA, 1ms);
        const auto after = server.memory();
        std::printf("| %s | %.1f | %.1f |\n", kind.name.toUtf8().constData(), (after - before) / MANY, after / 1024);
    }
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    bench::raiseDescriptorLimit();
    {
        const auto all = contestants();
        printAllEchoes(all);
        printUpgrades(all);
    }
    printMemory();
}
