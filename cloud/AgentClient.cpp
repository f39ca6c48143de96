#include "cloud/AgentClient.h"

#include "base/SerialQueue.h"
#include "net/WebSocketSetup.h"
#include "wire/AgentMessages.h"

#include <QJsonDocument>
#include <QNetworkRequest>
#include <QWebSocket>

#include <algorithm>
#include <thread>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration FIRST_BACK_OFF = 1s;
constexpr Clock::Duration LONGEST_BACK_OFF = 30s;
constexpr Clock::Duration OPENING = 60s;
constexpr Clock::Duration CLOSING = 1s; // for what is still to be sent
constexpr Clock::Duration PING_INTERVAL = 25s;
constexpr quint64 LARGEST_MESSAGE = 64 << 20; // bytes that the service may send at once
constexpr qint64 MOST_UNSENT_SOUND = 1 << 20; // bytes

} // namespace

// The connection and what becomes of it. On the queue, which it holds, so that a goodbye outlives the client.
class AgentClient::Link : public std::enable_shared_from_this<Link> {
public:
    Link(std::unique_ptr<SerialQueue> queue, Options options)
        : m_queue(std::move(queue)), m_options(std::move(options)) {}

    SerialQueue &queue() { return *m_queue; }

    void connect() {
        if (m_stopped)
            return;
        m_task = std::make_unique<QWebSocket>();
        auto *task = m_task.get();
        setUp(*task, m_options.url, m_options.authority, LARGEST_MESSAGE);
        follow(task);
        m_opening = m_queue->after(OPENING, [this] { dropped(m_task.get()); });
        task->open(request());
    }

    void stop() {
        if (std::exchange(m_stopped, true))
            return;
        m_reconnect.cancel();
        if (!isOpen())
            return ended();
        m_task->close(QWebSocketProtocol::CloseCodeGoingAway);
        m_goodbye = m_queue->after(CLOSING, [self = shared_from_this()] { self->ended(); }); // whoever else lets go
    }

    void onEnded(Job job) {
        if (m_ended)
            return job();
        m_atEnd.push_back(std::move(job));
    }

    bool isOpen() const { return m_task && m_task->state() == QAbstractSocket::ConnectedState; }

    void send(const QJsonObject &message) {
        m_task->sendTextMessage(QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact)));
        m_task->flush(); // at once, without another turn of the loop; it may find that the connection is gone
    }

    void sendAudio(const QByteArray &bytes) {
        if (isOpen() && unsentBytes(*m_task) < MOST_UNSENT_SOUND)
            m_task->sendBinaryMessage(bytes);
    }

private:
    QNetworkRequest request() const {
        QNetworkRequest request(m_options.url);
        request.setRawHeader("Authorization", "Bearer " + m_options.token.toUtf8());
        request.setRawHeader("User-Agent", m_options.userAgent);
        return request;
    }

    void follow(QWebSocket *task) {
        QObject::connect(task, &QWebSocket::connected, task, [this, task] { opened(task); });
        QObject::connect(task, &QWebSocket::disconnected, task, [this, task] { dropped(task); });
        QObject::connect(task, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), task,
                         [this, task] { dropped(task); });
        QObject::connect(task, &QWebSocket::textMessageReceived, task,
                         [this, task](const QString &text) { receive(task, text); });
    }

    void opened(QWebSocket *task) {
        if (task != m_task.get())
            return;
        m_opening.cancel();
        m_backoff = FIRST_BACK_OFF;
        pingLater();
        if (m_options.onConnected)
            m_options.onConnected(true);
        send(toJson(HelloMessage{}));
    }

    void pingLater() {
        m_pinger = m_queue->after(PING_INTERVAL, [this] {
            m_task->ping();
            pingLater();
        });
    }

    void receive(const QWebSocket *task, const QString &text) {
        if (task != m_task.get())
            return;
        const auto message = QJsonDocument::fromJson(text.toUtf8());
        if (message.isObject() && m_options.onMessage)
            m_options.onMessage(message.object());
    }

    void dropped(QWebSocket *task) {
        if (task != m_task.get())
            return;
        m_opening.cancel();
        m_pinger.cancel();
        // It may be in the middle of telling.
        m_task.release()->deleteLater();
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
        m_opening.cancel();
        m_pinger.cancel();
        m_task.reset();
        m_ended = true;
        for (auto &job : std::exchange(m_atEnd, {}))
            job();
    }

    std::unique_ptr<SerialQueue> m_queue;
    Options m_options;
    std::unique_ptr<QWebSocket> m_task; // the connection; none between a drop and the next attempt
    bool m_stopped = false;
    bool m_ended = false;
    Clock::Duration m_backoff = FIRST_BACK_OFF;
    Timer m_opening;
    Timer m_pinger;
    Timer m_reconnect;
    Timer m_goodbye;
    std::vector<Job> m_atEnd;
};

AgentClient::AgentClient(Options options) {
    auto queue = std::make_unique<SerialQueue>("ombru.agent", SerialQueue::Jobs::lengthy);
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

void AgentClient::send(Maker message) {
    m_link->queue().post([weak = std::weak_ptr(m_link), message = std::move(message)]() mutable {
        if (const auto link = weak.lock(); link && link->isOpen())
            link->send(message());
    });
    // The system often wakes the queue on the processor that this runs on: it need not wait for the log as well.
    std::this_thread::yield();
}

void AgentClient::sendAudio(QByteArray bytes) {
    m_link->queue().post([weak = std::weak_ptr(m_link), bytes = std::move(bytes)] {
        if (const auto link = weak.lock())
            link->sendAudio(bytes);
    });
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
