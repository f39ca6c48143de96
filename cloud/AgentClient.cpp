#include "cloud/AgentClient.h"

#include "base/SerialQueue.h"
#include "base/Text.h"
#include "net/WebSocketClient.h"
#include "platform/SystemLog.h"
#include "wire/AgentMessages.h"

#include <QJsonDocument>

#include <algorithm>
#include <atomic>
#include <mutex>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration FIRST_BACK_OFF = 1s;
constexpr Clock::Duration LONGEST_BACK_OFF = 30s;
constexpr Clock::Duration OPENING = 60s;
constexpr Clock::Duration CLOSING = 1s; // for what is still to be sent
constexpr Clock::Duration PING_INTERVAL = 25s;
constexpr std::uint64_t LARGEST_MESSAGE = 64 << 20; // bytes that the service may send at once
constexpr qint64 MOST_UNSENT_SOUND = 1 << 20;       // bytes
constexpr qsizetype LONGEST_REASON = 200;           // characters

} // namespace

// The connection and what becomes of it. On the queue, which it holds, so that a goodbye outlives the client.
class AgentClient::Link : public std::enable_shared_from_this<Link> {
public:
    Link(std::shared_ptr<SerialQueue> queue, Options options)
        : m_queue(std::move(queue)), m_options(std::move(options)) {}

    SerialQueue &queue() { return *m_queue; }

    void connect() {
        if (m_stopped)
            return;
        m_task = m_queue->make<WebSocketClient>(m_queue, socketOptions());
        m_opening = m_queue->after(OPENING, [this] {
            logReason({.reason = u"no answer within a minute"_s});
            dropped();
        });
        m_task->open();
    }

    void stop() {
        if (std::exchange(m_stopped, true))
            return;
        m_reconnect.cancel();
        if (!isOpen())
            return ended();
        setDirect(nullptr);
        m_task->close(CLOSE_GOING_AWAY);
        m_goodbye = m_queue->after(CLOSING, [self = shared_from_this()] { self->ended(); }); // whoever else lets go
    }

    void onEnded(Job job) {
        if (m_ended)
            return job();
        m_atEnd.push_back(std::move(job));
    }

    // Any thread. While something waits to be sent on the queue, what comes after it waits behind it.
    void send(Maker message, Length length) {
        const auto direct = length == Length::brief && m_waiting == 0 ? this->direct() : nullptr;
        if (direct)
            return direct->send(Opcode::text, message());
        sendLater(
            [message = std::move(message)](WebSocketClient &task) mutable { task.send(Opcode::text, message()); });
    }

    // Any thread.
    void sendAudio(QByteArray bytes) {
        sendLater([bytes = std::move(bytes)](WebSocketClient &task) {
            if (task.unsent() < MOST_UNSENT_SOUND)
                task.send(Opcode::binary, bytes);
        });
    }

private:
    using Sending = std::move_only_function<void(WebSocketClient &)>;

    void sendLater(Sending sending) {
        ++m_waiting;
        m_queue->post([weak = weak_from_this(), sending = std::move(sending)]() mutable {
            const auto link = weak.lock();
            if (!link)
                return;
            if (link->isOpen())
                sending(*link->m_task);
            --link->m_waiting;
        });
    }

    WebSocketClient::Options socketOptions() {
        // One of an earlier connection may still be on its way to tell something.
        const auto number = ++m_connections;
        const auto withLink = [weak = weak_from_this(), number](auto job) {
            if (const auto link = weak.lock(); link && link->m_task && link->m_connections == number)
                job(*link);
        };
        return {.url = m_options.url,
                .headers = {"Authorization: Bearer " + m_options.token.toUtf8(), "User-Agent: " + m_options.userAgent},
                .authority = m_options.authority,
                .largestMessage = LARGEST_MESSAGE,
                .onOpen = [withLink] { withLink([](Link &link) { link.opened(); }); },
                .onText = [withLink](QByteArrayView text) { withLink([text](Link &link) { link.receive(text); }); },
                .onEnd =
                    [withLink](const WebSocketEnd &end) {
                        withLink([&end](Link &link) {
                            link.logReason(end);
                            link.dropped();
                        });
                    }};
    }

    bool isOpen() const { return m_task && m_task->isOpen(); }

    void setDirect(std::shared_ptr<WebSocketClient> task) {
        const std::lock_guard lock(m_mutex);
        m_direct = std::move(task);
    }
    std::shared_ptr<WebSocketClient> direct() {
        const std::lock_guard lock(m_mutex);
        return m_direct;
    }

    // The hello goes first: only then may others write.
    void opened() {
        m_opening.cancel();
        m_backoff = FIRST_BACK_OFF;
        pingLater();
        if (m_options.onConnected)
            m_options.onConnected(true);
        m_task->send(Opcode::text, jsonText(HelloMessage{}));
        if (m_task->sendsDirectly())
            setDirect(m_task);
    }

    void pingLater() {
        m_pinger = m_queue->after(PING_INTERVAL, [this] {
            pingLater();
            m_reason.clear(); // it has lasted
            m_task->send(Opcode::ping, {});
        });
    }

    void receive(QByteArrayView text) {
        const auto message = QJsonDocument::fromJson(QByteArray::fromRawData(text.data(), text.size()));
        if (message.isObject() && m_options.onMessage)
            m_options.onMessage(message.object());
    }

    // Once for as long as it stays the same: the attempts go on for days.
    void logReason(const WebSocketEnd &end) {
        auto reason = end.code ? u"it was closed there (%1 %2)"_s.arg(*end.code).arg(end.reason) : end.reason;
        if (!m_options.token.isEmpty())
            reason.replace(m_options.token, u"…"_s); // what the other side says may repeat it
        if (!m_stopped && std::exchange(m_reason, reason) != reason)
            logger::notice(u"no channel to %1: %2"_s.arg(m_options.url.host(), shownLine(reason, LONGEST_REASON)));
    }

    void dropped() {
        letGo();
        if (m_stopped) {
            ended();
        } else {
            m_reconnect = m_queue->after(m_backoff, [this] { connect(); });
            m_backoff = std::min(2 * m_backoff, LONGEST_BACK_OFF);
        }
        if (m_options.onConnected)
            m_options.onConnected(false);
    }

    void ended() {
        m_goodbye.cancel();
        letGo();
        m_ended = true;
        for (auto &job : std::exchange(m_atEnd, {}))
            job();
    }

    void letGo() {
        m_opening.cancel();
        m_pinger.cancel();
        setDirect(nullptr);
        if (const auto task = std::exchange(m_task, nullptr))
            task->abandon();
    }

    const std::shared_ptr<SerialQueue> m_queue;
    Options m_options;
    std::shared_ptr<WebSocketClient> m_task; // the connection; none between a drop and the next attempt
    int m_connections = 0;
    bool m_stopped = false;
    bool m_ended = false;
    Clock::Duration m_backoff = FIRST_BACK_OFF;
    QString m_reason; // of the latest drop since it last lasted; may be none
    Timer m_opening;
    Timer m_pinger;
    Timer m_reconnect;
    Timer m_goodbye;
    std::vector<Job> m_atEnd;

    std::atomic<int> m_waiting = 0;            // on the queue, to be sent
    std::mutex m_mutex;                        // guards the next
    std::shared_ptr<WebSocketClient> m_direct; // the connection, while whoever calls may write to it
};

AgentClient::AgentClient(Options options) {
    auto queue = std::make_shared<SerialQueue>("ombru.agent", SerialQueue::Jobs::lengthy);
    auto &its = *queue;
    m_link = its.make<Link>(std::move(queue), std::move(options));
}

AgentClient::~AgentClient() {
    stop();
}

void AgentClient::start() {
    m_link->queue().post([weak = std::weak_ptr(m_link)] {
        if (const auto link = weak.lock())
            link->connect();
    });
}

void AgentClient::stop() {
    m_link->queue().post([link = m_link] { link->stop(); });
}

void AgentClient::send(Maker message, Length length) {
    m_link->send(std::move(message), length);
}

void AgentClient::sendAudio(QByteArray bytes) {
    m_link->sendAudio(std::move(bytes));
}

Task<> AgentClient::end() {
    const Completion over;
    m_link->queue().post([link = m_link, over] {
        link->onEnded([over] { Loop::main().post([over] { over.fire(); }); });
        link->stop();
    });
    co_await over;
}

} // namespace ombru
