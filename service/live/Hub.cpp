#include "service/live/Hub.h"

#include "service/log/Log.h"

#include <numeric>
#include <ranges>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration LOOKED_EVERY = 25s;   // at silent channels; also keeps them open in proxies
constexpr Clock::Duration MOST_SILENT = 80s;    // computers ask every 25 s
constexpr qsizetype KEPT_OF_COMPUTER = 4 << 20; // bytes of a message
constexpr qsizetype KEPT_OF_PAGE = 256 << 10;
constexpr int ITEMS_AT_ONCE = 200;
constexpr qsizetype MOST_CHARACTERS = 128 << 10; // of texts that are sent to a page at once

// Whether they go to pages in one message; more are read from the store, piece by piece.
bool areFew(const std::vector<Item> &items) {
    const auto characters = std::accumulate(items.begin(), items.end(), qsizetype(0),
                                            [](qsizetype sum, const Item &item) { return sum + item.text.size(); });
    return items.size() <= std::size_t(ITEMS_AT_ONCE) && characters <= MOST_CHARACTERS;
}

// What each computer has told, apart.
std::map<qint64, std::vector<Item>> byComputer(const std::vector<Item> &items) {
    std::map<qint64, std::vector<Item>> all;
    for (const auto &item : items)
        all[item.computer].push_back(item);
    return all;
}

} // namespace

std::shared_ptr<Hub> Hub::make(StoreQueue &store, StoreQueue &pages, JournalStart journal) {
    auto transport = Transport::make("ombru.live");
    auto &queue = transport->queue();
    const auto hub = queue.make<Hub>(store, pages, std::move(transport));
    hub->onQueue([journal = std::move(journal)](Hub &self) mutable { self.begin(std::move(journal)); });
    return hub;
}

Hub::Hub(StoreQueue &store, StoreQueue &pages, std::shared_ptr<Transport> transport)
    : m_store(store), m_reader(pages), m_transport(std::move(transport)) {}

void Hub::begin(JournalStart journal) {
    auto &queue = m_transport->queue();
    m_journal = queue.make<Journal>(std::shared_ptr<SerialQueue>(m_transport, &queue), m_store, std::move(journal));
    const auto weak = weak_from_this();
    m_journal->start({.onAppended =
                          [weak](const Appended &appended) {
                              if (const auto self = weak.lock())
                                  self->appended(appended);
                          },
                      .onLost =
                          [weak](const std::set<qint64> &computers, const Failure &failure) {
                              if (const auto self = weak.lock())
                                  self->lost(computers, failure);
                          },
                      .onRoom =
                          [weak] {
                              if (const auto self = weak.lock())
                                  self->tellRoom();
                          }});
    look();
}

// --- What others tell

void Hub::load(std::vector<ComputerRecord> computers, std::map<qint64, LiveComputer::Last> last) {
    onQueue([computers = std::move(computers), last = std::move(last)](Hub &self) mutable {
        for (auto &record : computers)
            self.add(record, std::move(last[record.id]));
    });
}

void Hub::signedIn(ComputerRecord computer) {
    onQueue([computer = std::move(computer)](Hub &self) mutable {
        const auto known = self.m_computers.find(computer.id);
        if (known != self.m_computers.end())
            return known->second->signedIn(std::move(computer));
        const auto id = computer.id;
        self.add(std::move(computer), {});
        self.changed(*self.m_computers.at(id));
    });
}

void Hub::add(ComputerRecord record, LiveComputer::Last last) {
    const auto id = record.id;
    const LiveComputer::Listener listener{.onChange = [this](const LiveComputer &computer) { changed(computer); },
                                          .onSound =
                                              [this](const LiveComputer &computer, QByteArrayView sound) {
                                                  for (const auto &page : m_pages)
                                                      if (page->hears(computer.record().id))
                                                          page->play(sound);
                                              },
                                          .onHeldBack = [this] { ++m_counts.heldBack; }};
    m_computers.emplace(id, std::make_shared<LiveComputer>(m_transport->queue(), m_journal, std::move(record),
                                                           std::move(last), listener));
}

void Hub::withComputer(qint64 id, const std::function<void(LiveComputer &)> &work) {
    if (const auto known = m_computers.find(id); known != m_computers.end())
        work(*known->second);
}

void Hub::revoke(qint64 computer) {
    onQueue([computer](Hub &self) { self.withComputer(computer, [](LiveComputer &its) { its.revoke(); }); });
}

void Hub::fetched(qint64 computer, double time, QString platform) {
    onQueue([computer, time, platform = std::move(platform)](Hub &self) {
        self.withComputer(computer, [&](LiveComputer &its) { its.fetched(time, platform); });
    });
}

void Hub::sessionEnded(QByteArray session) {
    onQueue([session = std::move(session)](Hub &self) {
        const auto pages = self.m_pages;
        for (const auto &page : pages)
            if (page->owner().session == session)
                page->close(Channel::SESSION_OVER);
    });
}

void Hub::takeComputer(qint64 computer, Accepted connection, QByteArray already) {
    onQueue([computer, connection = std::move(connection), already = std::move(already)](Hub &self) mutable {
        auto stream = self.m_transport->takeOver(std::move(connection));
        if (!stream || self.m_stopped || !self.m_computers.contains(computer))
            return stream ? (*stream)->cancel() : void();
        const auto channel = std::make_shared<Channel>(*std::move(stream), KEPT_OF_COMPUTER);
        self.withComputer(computer, [&](LiveComputer &its) { its.connect(channel, already); });
    });
}

void Hub::takePage(Page::Owner owner, Accepted connection, QByteArray already) {
    onQueue([owner = std::move(owner), connection = std::move(connection),
             already = std::move(already)](Hub &self) mutable {
        auto stream = self.m_transport->takeOver(std::move(connection));
        if (!stream || self.m_stopped)
            return stream ? (*stream)->cancel() : void();
        const auto channel = std::make_shared<Channel>(*std::move(stream), KEPT_OF_PAGE);
        if (!self.hasRoomFor(owner)) {
            channel->start({});
            return channel->close(Channel::TOO_MANY);
        }
        const auto page = std::make_shared<Page>(self, std::move(owner), channel);
        self.m_pages.insert(page);
        self.m_counts.pages = static_cast<qint64>(self.m_pages.size());
        page->start(already);
    });
}

bool Hub::hasRoomFor(const Page::Owner &owner) const {
    const auto open = [this](auto isIts) { return std::ranges::count_if(m_pages, isIts); };
    return open([&](const auto &page) { return page->owner().session == owner.session; }) < PAGES_OF_SESSION &&
           open([&](const auto &page) { return page->owner().account == owner.account; }) < PAGES_OF_ACCOUNT;
}

// What is to be known of the queue.
template <class Value, class Ask>
Task<Value> Hub::ask(Ask ask) {
    const Completion done;
    const auto answer = std::make_shared<Value>();
    onQueue([done, answer, ask = std::move(ask)](Hub &self) {
        *answer = ask(self);
        Loop::main().post([done, answer] { done.fire(); });
    });
    co_await done;
    co_return std::move(*answer);
}

Task<QJsonArray> Hub::computers(qint64 account) {
    return ask<QJsonArray>([account](Hub &self) { return self.computersOf(account); });
}

Task<std::optional<History::Picture>> Hub::unsettledPicture(qint64 picture) {
    return ask<std::optional<History::Picture>>([picture](Hub &self) { return self.m_journal->picture(picture); });
}

Task<> Hub::settle() {
    const Completion done;
    onQueue([done](Hub &self) { self.m_journal->settle([done] { Loop::main().post([done] { done.fire(); }); }); });
    co_await done;
}

// What was told before goes with it, wherever it is.
Task<Result<>> Hub::forget(qint64 computer) {
    const Completion done;
    const auto gone = std::make_shared<Result<>>();
    onQueue([done, gone, computer](Hub &self) {
        const auto upTo = self.m_journal->forget(computer);
        self.m_store.post([done, gone, computer, upTo, weak = self.weak_from_this()](Store &store) {
            *gone = store.history.forget(computer, upTo);
            const auto hub = *gone ? weak.lock() : nullptr;
            if (hub)
                hub->onQueue([computer, upTo](Hub &its) { its.forgotten(computer, upTo); });
            Loop::main().post([done, gone] { done.fire(); });
        });
    });
    co_await done;
    co_return *gone;
}

void Hub::forgotten(qint64 computer, qint64 upTo) {
    m_journal->forgotten(computer, upTo);
    m_journal->tryAgain();
    withComputer(computer, [](LiveComputer &its) { its.forget(); });
    tellRoom();
}

// --- What its computers and pages ask

QJsonArray Hub::computersOf(qint64 account) const {
    QJsonArray all;
    for (const auto &[id, computer] : m_computers)
        if (computer->record().account == account)
            all.append(computer->json());
    return all;
}

std::shared_ptr<LiveComputer> Hub::computer(qint64 id, qint64 account) const {
    const auto known = m_computers.find(id);
    return known != m_computers.end() && known->second->record().account == account ? known->second : nullptr;
}

qint64 Hub::lastNumber(qint64 computer) const {
    const auto known = m_computers.find(computer);
    return known == m_computers.end() ? 0 : known->second->record().lastNumber;
}

qint64 Hub::askItems(std::weak_ptr<Page> page, quint64 watch, qint64 computer, qint64 after) {
    const auto tell = [page = std::move(page), watch](const Result<std::vector<Item>> &items) {
        if (const auto its = page.lock())
            its->read(watch, items);
    };
    const auto first = m_journal->firstOf(computer);
    if (first && *first <= after + 1) {
        onQueue([tell, items = m_journal->itemsAfter(computer, after, ITEMS_AT_ONCE)](Hub &) { tell(items); });
        return lastNumber(computer);
    }
    m_reader.post([weak = weak_from_this(), tell, computer, after](Store &store) {
        auto items = store.history.itemsAfter(computer, after, ITEMS_AT_ONCE);
        if (const auto self = weak.lock())
            self->onQueue([tell, items = std::move(items)](Hub &) { tell(items); });
    });
    return first ? *first - 1 : lastNumber(computer);
}

void Hub::listenersChanged(qint64 computer) {
    const bool heard = std::ranges::any_of(m_pages, [&](const auto &page) { return page->hears(computer); });
    withComputer(computer, [&](LiveComputer &its) { its.setListening(heard); });
}

void Hub::left(const std::shared_ptr<Page> &page) {
    m_pages.erase(page);
    m_counts.pages = static_cast<qint64>(m_pages.size());
    for (const auto &[id, computer] : m_computers)
        if (page->hears(id))
            listenersChanged(id);
}

// --- What has happened

void Hub::changed(const LiveComputer &computer) {
    if (computer.presence().online)
        m_online.insert(computer.record().id);
    else if (m_online.erase(computer.record().id) > 0)
        m_store.post([id = computer.record().id, now = Clock::unixSeconds()](Store &store) {
            // What is not noted now is told by the last that came, when the service starts.
            static_cast<void>(store.computers.seen(id, now));
        });
    m_counts.online = static_cast<qint64>(m_online.size());
    for (const auto &page : m_pages)
        if (page->owner().account == computer.record().account)
            page->changed(computer.record().id);
}

void Hub::appended(const Appended &appended) {
    m_counts.items += static_cast<qint64>(appended.items.size());
    for (const auto &[id, items] : byComputer(appended.items)) {
        m_unkept.erase(id);
        withComputer(id, [&](LiveComputer &its) { its.noted(items.back().number); });
        const bool few = areFew(items);
        QByteArray message; // made once, when somebody watches
        for (const auto &page : m_pages) {
            if (page->watched() != id)
                continue;
            if (message.isEmpty() && few)
                message = itemsMessage(id, items);
            page->came(items, message);
        }
        const auto picture = std::ranges::find_if(items | std::views::reverse, &Item::isPicture);
        if (picture != items.rend())
            withComputer(id, [&](LiveComputer &its) { its.noted(*picture); });
    }
    tellFull();
    for (const auto &task : appended.tasks)
        withComputer(task.computer, [&](LiveComputer &its) { its.noted(task); });
}

void Hub::tellFull() {
    for (const auto &page : m_pages)
        page->full(full(page->owner().account));
}

void Hub::tellRoom() {
    if (m_journal->isStuck())
        return;
    m_unkept.clear();
    tellFull();
}

QString Hub::full(qint64 account) const {
    for (const auto &[id, why] : m_unkept)
        if (computer(id, account))
            return why;
    return {};
}

void Hub::lost(const std::set<qint64> &computers, const Failure &failure) {
    ++m_counts.lost;
    logEvent(u"lost", {{u"why", failure.description}});
    const auto message = isDiskFull(failure) ? u"The service's disk is full: what comes now is not kept."_s
                                             : u"The service cannot keep what comes now."_s;
    for (const auto id : computers)
        m_unkept.insert_or_assign(id, message);
    tellFull();
}

// --- Time

void Hub::look() {
    const auto pages = m_pages;
    for (const auto &page : pages) {
        page->look(MOST_SILENT);
        checkSession(page);
    }
    for (const auto &[id, computer] : m_computers)
        computer->look(MOST_SILENT);
    if (!m_unkept.empty())
        lookForRoom();
    m_looking = m_transport->queue().after(LOOKED_EVERY, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->look();
    });
}

// Whoever made it may not tell, and a computer that rests has nothing that could be kept again.
void Hub::lookForRoom() {
    m_store.post([weak = weak_from_this()](Store &store) {
        const auto self = store.hasRoom() ? weak.lock() : nullptr;
        if (self)
            self->onQueue([](Hub &its) { its.tellRoom(); });
    });
}

// It may be over by time, or another program may have ended it.
void Hub::checkSession(const std::shared_ptr<Page> &page) {
    const auto session = page->owner().session;
    m_store.post([weak = weak_from_this(), session](Store &store) {
        const auto account = store.accounts.sessionOf(session, Clock::unixSeconds());
        const auto self = weak.lock();
        if (self && account && !*account)
            self->sessionEnded(session);
    });
}

Task<> Hub::stop() {
    const Completion done;
    onQueue([done](Hub &self) {
        self.endAll();
        // Behind what the channels post when they are closed.
        self.onQueue([done](Hub &hub) { hub.settleWritten(done); });
    });
    co_await done;
}

// What the database has no room for stays in the journal.
void Hub::settleWritten(const Completion &done) {
    if (!m_journal->isWritten())
        return onQueue([done](Hub &hub) { hub.settleWritten(done); });
    m_journal->settle([done, self = shared_from_this()] { Loop::main().post([done, self] { done.fire(); }); });
}

void Hub::endAll() {
    m_stopped = true;
    m_looking.cancel();
    const auto pages = m_pages;
    for (const auto &page : pages)
        page->close(Channel::GOING_AWAY);
    for (const auto &[id, computer] : m_computers)
        computer->close(Channel::GOING_AWAY);
}

} // namespace ombru
