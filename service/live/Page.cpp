#include "service/live/Page.h"

#include "service/live/Hub.h"
#include "service/live/Json.h"
#include "service/live/LiveComputer.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype MOST_AHEAD = 256 << 10;      // bytes that wait to be sent, before it is let catch up later
constexpr qsizetype MOST_SOUND_AHEAD = 32 << 10; // before its sound is dropped
constexpr qint64 NEWEST = 500;                   // items for a page that has none

} // namespace

Page::Page(Hub &hub, Owner owner, std::shared_ptr<Channel> channel)
    : m_hub(hub), m_owner(std::move(owner)), m_channel(std::move(channel)) {}

void Page::start(const QByteArray &already) {
    const auto weak = weak_from_this();
    m_channel->start({.onMessage =
                          [weak](const Channel::Message &message) {
                              if (const auto self = weak.lock())
                                  self->received(message);
                          },
                      .onDrained =
                          [weak] {
                              if (const auto self = weak.lock())
                                  self->flush();
                          },
                      .onClose =
                          [weak] {
                              if (const auto self = weak.lock())
                                  self->m_hub.left(self);
                          }});
    send({{u"type"_s, u"computers"_s}, {u"computers"_s, m_hub.computersOf(m_owner.account)}});
    full(m_hub.full(m_owner.account));
    m_channel->take(already);
}

void Page::look(Clock::Duration mostSilent) {
    if (Clock::now() - m_channel->lastHeard() > mostSilent)
        close(Channel::GOING_AWAY);
    else
        m_channel->ping();
}

// --- What it asks

void Page::received(const Channel::Message &message) {
    if (!m_messages.take())
        return close(Channel::POLICY);
    if (!message.isText || message.cut > 0)
        return;
    if (const auto said = pageMessage(message.bytes))
        std::visit([this](const auto &request) { take(request); }, *said);
}

std::shared_ptr<LiveComputer> Page::computer(qint64 id) const {
    return m_hub.computer(id, m_owner.account);
}

void Page::take(const WatchRequest &request) {
    const auto id = request.computer;
    if (!computer(id))
        return gone(id);
    const auto newest = m_hub.lastNumber(id);
    const auto last = request.after ? std::min(*request.after, newest) : std::max<qint64>(0, newest - NEWEST);
    m_watch = Watch{id, ++m_watches, last};
    flush();
}

void Page::take(const UnwatchRequest & /*request*/) {
    m_watch.reset();
}

void Page::take(const TaskRequest &request) {
    if (const auto its = computer(request.computer))
        its->handTask(weak_from_this(), request.text);
}

void Page::take(const CancelRequest &request) {
    if (const auto its = computer(request.computer))
        its->cancelTask();
}

void Page::take(const ListenRequest &request) {
    if (computer(request.computer))
        listen(request.computer, request.on);
}

// One that is not there, or is another's.
void Page::gone(qint64 computer) {
    m_watch.reset();
    send({{u"type"_s, u"gone"_s}, {u"computer"_s, QString::number(computer)}});
}

void Page::listen(qint64 computer, bool on) {
    const auto before = m_hears;
    m_hears = on ? std::optional(computer) : std::nullopt;
    if (before && before != m_hears)
        m_hub.listenersChanged(*before);
    if (m_hears)
        m_hub.listenersChanged(*m_hears);
}

// --- What it is told

void Page::send(const QJsonObject &message) {
    m_channel->sendText(jsonText(message));
}

bool Page::hasRoom() const {
    return m_channel->unsent() <= MOST_AHEAD;
}

void Page::changed(qint64 computer) {
    m_changed.insert(computer);
    flush();
}

void Page::flush() {
    while (!m_changed.empty() && hasRoom()) {
        const auto id = m_changed.extract(m_changed.begin()).value();
        if (const auto its = computer(id))
            send({{u"type"_s, u"computer"_s}, {u"computer"_s, its->json()}});
    }
    tellFull();
    catchUp();
}

void Page::catchUp() {
    if (!m_watch || m_asking || !hasRoom())
        return;
    if (m_watch->last < m_hub.lastNumber(m_watch->computer)) {
        m_asking = true;
        m_watch->asked = m_hub.askItems(weak_from_this(), m_watch->number, m_watch->computer, m_watch->last);
    } else if (!std::exchange(m_watch->told, true)) {
        send({{u"type"_s, u"caughtUp"_s},
              {u"computer"_s, QString::number(m_watch->computer)},
              {u"number"_s, m_watch->last}});
    }
}

void Page::came(const std::vector<Item> &items, const QByteArray &message) {
    if (!m_watch || m_watch->computer != items.front().computer)
        return;
    if (message.isEmpty() || m_asking || !hasRoom() || m_watch->last + 1 != items.front().number)
        return catchUp();
    m_watch->last = items.back().number;
    m_channel->sendText(message);
}

void Page::read(quint64 watch, const Result<std::vector<Item>> &items) {
    m_asking = false;
    if (!m_watch || m_watch->number != watch)
        return flush();
    if (!items)
        return close(Channel::GOING_AWAY);
    if (items->empty()) // they were dropped
        m_watch->last = m_watch->asked;
    else
        m_watch->last = items->back().number;
    if (!items->empty())
        m_channel->sendText(itemsMessage(m_watch->computer, *items));
    flush();
}

void Page::play(QByteArrayView sound) {
    if (m_channel->unsent() <= MOST_SOUND_AHEAD)
        m_channel->sendBinary(sound);
}

void Page::notAccepted(qint64 computer, const QString &text, const QString &why) {
    send({{u"type"_s, u"notAccepted"_s},
          {u"computer"_s, QString::number(computer)},
          {u"text"_s, text},
          {u"why"_s, why}});
}

void Page::full(const QString &message) {
    m_full = message;
    tellFull();
}

void Page::tellFull() {
    if (m_full == m_toldFull || !hasRoom())
        return;
    m_toldFull = m_full;
    send({{u"type"_s, u"full"_s}, {u"message"_s, m_full}});
}

} // namespace ombru
