#include "service/live/LiveComputer.h"

#include "service/live/Page.h"

#include <QJsonDocument>

#include <algorithm>
#include <array>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration TASK_LIMIT = 15s;      // until the computer says that it has begun
constexpr std::size_t MOST_HANDED = 8;           // tasks that it has not begun
constexpr qsizetype MOST_OF_CUT = 2 * MOST_TEXT; // bytes of a message that was too long that are looked at
constexpr std::array KINDS = {"user"_L1, "call"_L1,   "heard"_L1, "said"_L1, "claude"_L1,
                              "code"_L1, "result"_L1, "good"_L1,  "bad"_L1,  "warn"_L1};
constexpr QStringView STILL_WORKING = u"Still working on the last task";

std::optional<AgentMessage> read(const Channel::Message &message) {
    if (message.cut > 0)
        return beginningOfEvent(message.bytes.first(std::min(message.bytes.size(), MOST_OF_CUT)));
    const auto document = QJsonDocument::fromJson(message.bytes.toByteArray());
    return document.isObject() ? agentMessage(document.object()) : std::nullopt;
}

} // namespace

LiveComputer::LiveComputer(SerialQueue &queue, std::shared_ptr<Journal> journal, ComputerRecord record, Last last,
                           Listener listener)
    : m_queue(queue), m_journal(std::move(journal)), m_listener(std::move(listener)), m_record(std::move(record)) {
    m_presence.since = m_record.seen;
    m_presence.lastTask = std::move(last.task);
    m_presence.picture = std::move(last.picture);
}

// --- The channel

void LiveComputer::connect(const std::shared_ptr<Channel> &channel, const QByteArray &already) {
    if (m_record.revoked)
        return channel->close(Channel::SESSION_OVER);
    if (const auto before = std::exchange(m_channel, channel))
        before->close(Channel::REPLACED);
    m_presence.online = true;
    m_presence.state.reset(); // what it says first counts, also when it is what the other channel said last
    m_presence.since = Clock::unixSeconds();
    changed();
    const auto weak = weak_from_this();
    channel->start({.onMessage =
                        [weak, its = std::weak_ptr(channel)](const Channel::Message &message) {
                            const auto self = weak.lock();
                            if (self && self->m_channel == its.lock())
                                self->received(message);
                        },
                    .onDrained = {},
                    .onClose =
                        [weak, its = std::weak_ptr(channel)] {
                            if (const auto self = weak.lock())
                                self->gone(its.lock());
                        }});
    // Also that nobody does: it may have gone on recording while it was away.
    send(toJson(ListenCommand{m_presence.listening}));
    channel->take(already);
}

void LiveComputer::gone(const std::shared_ptr<Channel> &channel) {
    if (m_channel != channel)
        return;
    m_channel.reset();
    m_presence.online = false;
    m_presence.since = m_record.seen = Clock::unixSeconds();
    while (!m_handed.empty())
        giveBack(u"gone"_s);
    tell({.message = LostMessage{}});
    changed();
}

void LiveComputer::look(Clock::Duration mostSilent) {
    if (m_channel && m_channel->isReading() && Clock::now() - m_channel->lastHeard() > mostSilent)
        m_channel->close(Channel::GOING_AWAY);
}

void LiveComputer::close(Channel::Code code) {
    if (m_channel)
        m_channel->close(code);
}

void LiveComputer::send(const QJsonObject &command) {
    if (m_channel)
        m_channel->sendText(jsonText(command));
}

// --- What it says

void LiveComputer::received(const Channel::Message &message) {
    if (!message.isText)
        return m_listener.onSound(*this, message.bytes);
    if (const auto read = ::ombru::read(message))
        take(*read, message.cut + std::max<qint64>(0, message.cut > 0 ? message.bytes.size() - MOST_OF_CUT : 0));
}

void LiveComputer::take(const AgentMessage &message, qint64 cut) {
    if (const auto *event = std::get_if<EventMessage>(&message))
        note(*event, cut);
    else if (const auto *state = std::get_if<StateMessage>(&message))
        note(*state);
    else if (const auto *screenshot = std::get_if<ScreenshotMessage>(&message))
        note(*screenshot);
}

void LiveComputer::note(const StateMessage &state) {
    const auto before = std::exchange(m_presence.state, state);
    m_presence.stateReceived = Clock::unixSeconds();
    if (!before || before->busy != state.busy || before->step != state.step)
        tell({.message = state});
    changed();
}

void LiveComputer::note(const EventMessage &event, qint64 cut) {
    if (std::ranges::find(KINDS, event.kind) == KINDS.end())
        return;
    if (event.kind == "user"_L1 && event.text.startsWith("web"_L1) && !m_handed.empty())
        m_handed.pop_front();
    else if (event.kind == "warn"_L1 && event.text.startsWith(STILL_WORKING))
        giveBack(u"busy"_s);
    tell({.message = event, .cut = cut});
}

void LiveComputer::note(const ScreenshotMessage &screenshot) {
    tell({.message = screenshot});
}

void LiveComputer::tell(Told told) {
    told.computer = m_record.id;
    told.received = Clock::unixSeconds();
    m_journal->tell(std::move(told));
    if (m_channel && m_channel->isReading() && !m_journal->hasRoom(m_record.id))
        waitForRoom();
}

void LiveComputer::waitForRoom() {
    m_channel->read(false);
    m_listener.onHeldBack();
    m_journal->whenRoom(m_record.id, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (self && self->m_channel)
            self->m_channel->read(true);
    });
}

// --- What it is told

void LiveComputer::handTask(const std::weak_ptr<Page> &page, const QString &text) {
    const auto words = text.trimmed();
    const auto why = whyNot(words);
    if (const auto asking = why.isEmpty() ? nullptr : page.lock())
        asking->notAccepted(m_record.id, text, why);
    if (!why.isEmpty())
        return;
    m_handed.push_back({page, text, m_queue.after(TASK_LIMIT, [weak = weak_from_this()] {
                            if (const auto self = weak.lock())
                                self->giveBack(u"timeout"_s);
                        })});
    send(toJson(TaskCommand{words}));
}

// Empty when a task may be handed over.
QString LiveComputer::whyNot(const QString &words) const {
    if (!m_channel || words.isEmpty())
        return u"away"_s;
    const bool busy = m_presence.state && m_presence.state->busy;
    return busy || m_handed.size() >= MOST_HANDED ? u"busy"_s : QString();
}

void LiveComputer::giveBack(const QString &why) {
    if (m_handed.empty())
        return;
    const auto handed = std::move(m_handed.front());
    m_handed.pop_front();
    if (const auto page = handed.page.lock())
        page->notAccepted(m_record.id, handed.text, why);
}

void LiveComputer::cancelTask() {
    send(toJson(CancelCommand{}));
}

void LiveComputer::setListening(bool on) {
    if (std::exchange(m_presence.listening, on) == on)
        return;
    send(toJson(ListenCommand{on}));
    changed();
}

// --- What is kept of it

void LiveComputer::revoke() {
    m_record.revoked = true;
    close(Channel::SESSION_OVER);
    changed();
}

void LiveComputer::signedIn(ComputerRecord record) {
    record.lastNumber = std::max(record.lastNumber, m_record.lastNumber);
    m_record = std::move(record);
    changed();
}

void LiveComputer::fetched(double time, const QString &platform) {
    m_record.fetched = time;
    m_record.seen = time;
    m_record.platform = platform;
    if (!m_presence.online)
        m_presence.since = time;
    changed();
}

void LiveComputer::forget() {
    m_presence.lastTask.reset();
    m_presence.picture.reset();
    changed();
}

void LiveComputer::noted(const TaskRecord &task) {
    m_presence.lastTask = task;
    changed();
}

void LiveComputer::noted(const Item &picture) {
    m_presence.picture = picture;
    changed();
}

} // namespace ombru
