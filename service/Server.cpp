#include "service/Server.h"

#include "service/log/Log.h"

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration TIDIED_EVERY = 1h;
constexpr Clock::Duration LOOKED_EVERY = 1min; // whether it has to be earlier
constexpr Clock::Duration MORE_TO_TIDY = 100ms;
constexpr qint64 MEGABYTE = 1'000'000;
constexpr double DAY = 24 * 3600; // seconds

Failure inTheWay(std::uint16_t port, const Failure &failure) {
    return {u"service"_s, failure.code, u"Port %1 cannot be used: %2."_s.arg(port).arg(failure.description)};
}

QUrl publicURLOf(const QString &given, std::uint16_t port) {
    return QUrl(given.isEmpty() ? u"http://localhost:%1"_s.arg(port) : given);
}

} // namespace

Server::Server(ServiceSettings &settings, DataLock lock, Stores stores, JournalStart journal, Options options)
    : m_lock(std::move(lock)), m_store(std::move(stores.store), StoreQueue::Priority::low),
      m_reader(std::move(stores.reader)), m_pages(std::move(stores.pages)),
      m_service{.settings = settings,
                .store = m_store,
                .reader = m_reader,
                .hub = Hub::make(m_store, m_pages, std::move(journal)),
                .passwordCost = options.passwordCost},
      m_router(m_service), m_options(std::move(options)) {}

Server::~Server() = default;

// What a service finds when it starts.
struct Server::Kept {
    std::vector<ComputerRecord> computers;
    std::map<qint64, LiveComputer::Last> last;
    bool isNew;
    JournalStart journal;
};

Result<Server::Kept> Server::read(Store &store) {
    const auto leftOut = store.takeInJournal();
    if (!leftOut)
        return std::unexpected(leftOut.error());
    for (const auto &line : *leftOut)
        logEvent(u"journal-left-out", {{u"why", line}});
    if (const auto begun = store.history.begin(); !begun)
        return std::unexpected(begun.error());
    const auto computers = store.computers.all();
    if (!computers)
        return std::unexpected(computers.error());
    const auto tasks = store.history.lastTasks();
    const auto pictures = store.history.lastPictures();
    if (!tasks || !pictures)
        return std::unexpected(!tasks ? tasks.error() : pictures.error());
    std::map<qint64, LiveComputer::Last> last;
    for (const auto &[computer, task] : *tasks)
        last[computer].task = task;
    for (const auto &[computer, picture] : *pictures)
        last[computer].picture = picture;
    const auto isNew = store.accounts.isEmpty();
    if (!isNew)
        return std::unexpected(isNew.error());
    auto journal = store.beginJournal();
    if (!journal)
        return std::unexpected(journal.error());
    return Kept{*computers, std::move(last), *isNew, *std::move(journal)};
}

Result<Server::Stores> Server::open(const QString &file, const Options &options) {
    auto store = Store::open({file, options.mostPages});
    if (!store)
        return std::unexpected(store.error());
    auto reader = Store::openReader(file);
    if (!reader)
        return std::unexpected(reader.error());
    auto pages = Store::openReader(file);
    if (!pages)
        return std::unexpected(pages.error());
    return Stores{*std::move(store), *std::move(reader), *std::move(pages)};
}

Result<std::unique_ptr<Server>> Server::start(ServiceSettings &settings, Options options) {
    const auto file = databaseIn(settings.directory());
    if (!file)
        return std::unexpected(file.error());
    auto lock = DataLock::take(settings.directory());
    if (!lock)
        return std::unexpected(lock.error());
    auto stores = open(*file, options);
    if (!stores)
        return std::unexpected(stores.error());
    auto kept = read(*stores->store);
    if (!kept)
        return std::unexpected(kept.error());
    std::unique_ptr<Server> server(
        new Server(settings, *std::move(lock), *std::move(stores), std::move(kept->journal), options));
    server->m_service.hub->load(std::move(kept->computers), std::move(kept->last));
    if (kept->isNew)
        server->m_service.visitCode = newVisitCode();
    if (const auto served = server->serve(); !served)
        return std::unexpected(served.error());
    return server;
}

Result<> Server::serve() {
    const auto port = static_cast<std::uint16_t>(m_service.settings.port());
    const bool any = m_service.settings.interface() == "any"_L1;
    auto http = HttpServer::start(
        {.interface = any ? Interface::any : Interface::loopback,
         .port = port,
         .isProxy = [this](const QString &peer) { return isInNetwork(peer, m_service.settings.proxy()); },
         .requestLimit = m_options.requestLimit,
         .mostBody = [this](const Request &request) { return m_router.mostBody(request); },
         .answer = [this](Request request) { return m_router.answer(std::move(request)); }});
    if (!http)
        return std::unexpected(inTheWay(port, http.error()));
    m_http = *std::move(http);
    m_service.publicURL = publicURLOf(m_service.settings.publicURL(), m_http->port());
    look();
    return {};
}

Task<> Server::stop() {
    m_looking.cancel();
    co_await m_tasks.drain();
    if (m_http)
        co_await m_http->stop();
    co_await m_service.hub->stop();
}

// --- What has to be done now and then

History::Limits Server::limits() const {
    return {m_service.settings.megabytesKept() * MEGABYTE, m_service.settings.picturesKept()};
}

void Server::lookLater(Clock::Duration delay) {
    m_looking = Loop::main().after(delay, [this] { look(); });
}

// Out of turn when the owner has changed the limits, or when something could not be kept: there may be room by now.
void Server::look() {
    const auto lost = m_service.hub->counts().lost.load();
    const bool due = !m_tidied || Clock::now() - *m_tidied >= TIDIED_EVERY;
    if (!due && limits() == m_limits && lost == m_lost)
        return lookLater(LOOKED_EVERY);
    m_tidied = Clock::now();
    m_limits = limits();
    m_lost = lost;
    m_tasks.start(tidy());
}

// By age a day in an hour at most, and none when the service starts: a computer's clock is wrong then, if ever.
double Server::turn() {
    if (Clock::now() - m_turned < TIDIED_EVERY)
        return 0;
    m_turned = Clock::now();
    return DAY;
}

// A piece at a time, so that nobody waits for all of it.
Task<> Server::tidy() {
    const auto now = Clock::unixSeconds();
    const auto kept = m_service.settings.historyDays() * DAY;
    const auto more = co_await m_store.ask([now, kept, turn = turn(), limits = m_limits](Store &its) -> Result<bool> {
        its.fillReserve();
        its.history.limit(limits);
        const auto some = its.history.dropSurplus();
        const auto sessions = its.accounts.dropOldSessions(now);
        const auto computers = its.computers.all();
        const auto today = its.history.today(now, turn);
        if (!some || !sessions || !computers || !today)
            return std::unexpected(!some        ? some.error()
                                   : !sessions  ? sessions.error()
                                   : !computers ? computers.error()
                                                : today.error());
        bool more = *some;
        for (const auto &computer : *computers) {
            const auto old = its.history.dropOld(computer.id, *today - kept, now);
            const auto pictures = old ? its.history.dropSurplus(computer.id) : old;
            if (!pictures)
                return pictures;
            more = more || *old || *pictures;
        }
        return more;
    });
    if (!more)
        logEvent(u"failure", {{u"why", more.error().description}});
    if (m_tasks.token().stop_requested())
        co_return;
    if (more && *more)
        m_tidied.reset();
    lookLater(more && *more ? MORE_TO_TIDY : LOOKED_EVERY);
}

} // namespace ombru
