// A thousand computers on one service, each with five events a second, and a hundred pages that watch one each; beside
// the least that a service can do, in turns. Then all that was told has to be there.
#include "base/Clock.h"
#include "bench/Race.h"
#include "bench/Served.h"
#include "bench/Telling.h"
#include "service/secrets/Secrets.h"
#include "service/store/Database.h"
#include "service/store/Store.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int ROUNDS = 3;
constexpr int COMPUTERS = 1000;
constexpr int PAGES = 100; // each of an account of its own
constexpr int EVENTS_A_SECOND = 5;
constexpr std::chrono::seconds DURATION = 15s;
constexpr std::chrono::seconds WARMING = 2s;
constexpr std::chrono::seconds PATIENCE = 30s;

struct Visitors {
    std::vector<bench::Visitor> computers;
    std::vector<bench::Visitor> pages;
};

struct Figures {
    double perSecond;
    double half;  // ms
    double most;  // ms, of 99 in 100
    double worst; // ms
    double cores;
    double memory; // KiB a client
};

template <class Value>
Value orFail(Result<Value> result) {
    if (!result)
        bench::fail(result.error().description.toStdString());
    return *std::move(result);
}
void orFail(const Result<> &result) {
    if (!result)
        bench::fail(result.error().description.toStdString());
}

// Behind a proxy, so that each account asks from an address of its own.
QByteArray from(int account, const QByteArray &headers) {
    return headers + "\r\nX-Forwarded-For: 10.0." + QByteArray::number(account / 250) + '.' +
           QByteArray::number(account % 250 + 1) + "\r\n";
}

bench::Visitor signIn(Store &store, int account, qint64 id, int number) {
    const auto token = newToken();
    const auto device = keptOf(newToken());
    const auto user = keptOf(newToken());
    const auto now = Clock::unixSeconds();
    orFail(
        store.computers.ask(device, user, {u"computer %1"_s.arg(number), u"Linux"_s, u"127.0.0.1"_s, now, now + 60}));
    orFail(store.computers.decide(user, id, true, now));
    orFail(store.computers.look(device, keptOf(token), u"call"_s, now));
    return {"/agent", from(account, "Authorization: Bearer " + token), {}, R"("listen")"};
}

// What the service finds when it starts.
Visitors populate(const QString &database) {
    const auto store = orFail(Store::open({database}));
    Visitors all;
    for (int account = 0; account < PAGES; ++account) {
        const auto now = Clock::unixSeconds();
        const auto id = orFail(store->accounts.add(u"owner%1@example.org"_s.arg(account), "none", now)).id;
        const auto session = newToken();
        orFail(store->accounts.beginSession(keptOf(session), id, now, now + 3600));
        for (int number = 0; number < COMPUTERS / PAGES; ++number)
            all.computers.push_back(signIn(*store, account, id, number));
        const auto computer = orFail(store->computers.all()).back().id;
        const auto watch = R"({"type":"watch","computer":")" + QByteArray::number(computer) + R"("})";
        all.pages.push_back({"/live", from(account, "Cookie: ombru_session=" + session), watch, "caughtUp"});
    }
    return all;
}

// What nobody watches may be on its way still.
void expect(const char *what, const std::function<qint64()> &kept) {
    constexpr qint64 EVENTS = COMPUTERS * EVENTS_A_SECOND * (DURATION + WARMING).count();
    const auto end = std::chrono::steady_clock::now() + PATIENCE;
    for (auto count = kept(); count != EVENTS; count = kept())
        if (count > EVENTS || std::chrono::steady_clock::now() > end)
            bench::fail(std::string(what) + " has kept " + std::to_string(count) + " of " + std::to_string(EVENTS) +
                        " events");
}

Figures measure(const bench::ServerKind &kind, const Visitors &visitors, const std::function<qint64()> &kept) {
    bench::Served server(kind);
    const auto before = server.share();
    bench::Telling telling(server.port(), visitors.computers, visitors.pages);
    telling.tell(EVENTS_A_SECOND, WARMING); // caches, and the files' first pages
    const auto processor = server.processorSeconds();
    auto told = telling.tell(EVENTS_A_SECOND, DURATION);
    const auto cores = (server.processorSeconds() - processor) / std::chrono::duration<double>(DURATION).count();
    const auto milliseconds = [&](double share) { return bench::micros(bench::percentile(told.delays, share)) / 1000; };
    const Figures row{told.perSecond,
                      milliseconds(0.5),
                      milliseconds(0.99),
                      milliseconds(1),
                      cores,
                      (server.share() - before) / (COMPUTERS + PAGES)};
    expect(qPrintable(kind.name), kept);
    server.end();
    expect(qPrintable(kind.name), kept);
    return row;
}

QString own(const char *program) {
    return QCoreApplication::applicationDirPath() + u'/' + QString::fromLatin1(program);
}

Figures measureOurs(const QString &directory) {
    const auto database = directory + u"/service.sqlite"_s;
    const auto settings = directory + u"/settings.conf"_s;
    QFile file(settings);
    if (!file.open(QFile::WriteOnly) || file.write("proxy=127.0.0.1\n") < 0)
        bench::fail("the settings cannot be written");
    file.close();
    const auto visitors = populate(database);
    const auto kept = [&] {
        const auto opened = orFail(Database::open(database, Database::Mode::readOnly));
        return orFail(opened->row("SELECT count(*) FROM items", [](const Row &row) { return row.integer(0); }))
            .value_or(0);
    };
    return measure(
        {u"ours"_s,
         {own("ombru-service"), u"--settings-file"_s, settings, u"--data"_s, directory, u"--port"_s, u"0"_s}},
        visitors, kept);
}

Figures measureLeast(const QString &directory) {
    const auto file = directory + u"/lines"_s;
    Visitors visitors;
    for (int computer = 0; computer < COMPUTERS; ++computer)
        visitors.computers.push_back({"/agent/" + QByteArray::number(computer)});
    for (int page = 0; page < PAGES; ++page)
        visitors.pages.push_back({"/live/" + QByteArray::number(page * COMPUTERS / PAGES)});
    const auto kept = [&] {
        QFile lines(file);
        if (!lines.open(QFile::ReadOnly))
            bench::fail("the relay has kept nothing");
        return qint64(lines.readAll().count('\n'));
    };
    return measure({u"the least"_s, {own("bench-least-relay"), file}}, visitors, kept);
}

// The round in the middle, by the delay of 99 in 100.
Figures middle(std::vector<Figures> rows) {
    std::ranges::sort(rows, {}, &Figures::most);
    return rows[rows.size() / 2];
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    prepareSecrets();
    bench::raiseDescriptorLimit();
    std::vector<Figures> ours;
    std::vector<Figures> least;
    for (int round = 0; round < ROUNDS; ++round) {
        const QTemporaryDir directory(own("bench-service"));
        ours.push_back(measureOurs(directory.path()));
        least.push_back(measureLeast(directory.path()));
    }
    const auto one = middle(std::move(ours));
    const auto other = middle(std::move(least));
    std::printf("\n### %d computers with %d events a second each, and %d pages\n\n"
                "From a computer to a page, p99: **%.1f** times the least (aim: 3.0).\n\n"
                "| | events a second | p50, ms | p99, ms | most, ms | cores | KiB a client |\n"
                "|---|---:|---:|---:|---:|---:|---:|\n",
                COMPUTERS, EVENTS_A_SECOND, PAGES, one.most / other.most);
    for (const auto &[name, row] : {std::pair("ours", one), std::pair("the least", other)})
        std::printf("| %s | **%.0f** | %.2f | **%.2f** | %.1f | %.2f | **%.1f** |\n", name, row.perSecond, row.half,
                    row.most, row.worst, row.cores, row.memory);
}
