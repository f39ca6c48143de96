#include "voice/Recognition.h"

#include "base/SerialQueue.h"
#include "net/WebSocketClient.h"
#include "voice/Deepgram.h"
#include "voice/Mulaw.h"

#include <vector>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto OPENING = 60s;
constexpr Clock::Duration CLOSING = 1s;                // for what is still to be sent
constexpr std::uint64_t LARGEST_MESSAGE = 1 << 20;     // bytes
constexpr qint64 MOST_UNSENT = OPENING.count() * RATE; // bytes: what a call can say while it opens
constexpr QByteArrayView CLOSE_STREAM = R"({"type": "CloseStream"})";

} // namespace

// The connection and what becomes of it; it outlives the recognition for a goodbye.
class Recognition::Link : public std::enable_shared_from_this<Link> {
public:
    Link(std::shared_ptr<SerialQueue> queue, Options options)
        : m_queue(std::move(queue)), m_options(std::move(options)) {}

    void openSoon() {
        m_queue->post([weak = weak_from_this()] {
            if (const auto link = weak.lock(); link && !link->m_over)
                link->open();
        });
    }

    void send(const QByteArray &bytes, bool isText) {
        if (m_over || bytes.size() + (m_open ? m_task->unsent() : m_waitingBytes) > MOST_UNSENT)
            return;
        if (m_open)
            return write({bytes, isText});
        m_waitingBytes += bytes.size();
        m_waiting.push_back({bytes, isText});
    }

    void finish() {
        if (m_over)
            return;
        if (!m_open)
            return hangUp();
        m_over = true;
        m_open = false;
        m_options = {};
        m_goodbye = m_queue->after(CLOSING, [self = shared_from_this()] { self->hangUp(); });
        m_task->send(Opcode::text, CLOSE_STREAM);
        m_task->close(CLOSE_NORMAL);
    }

    void hangUp() {
        m_over = true;
        m_open = false;
        m_options = {};
        m_waiting.clear();
        m_opening.cancel();
        m_goodbye.cancel();
        if (const auto task = std::exchange(m_task, nullptr))
            task->abandon();
    }

    bool isSayingGoodbye() const { return m_goodbye.pending(); }

private:
    struct Message {
        QByteArray bytes;
        bool isText = false;
    };

    void open() {
        const auto allowed = authorization(m_options.key);
        if (!allowed)
            return fail(u"the key has characters that no key has"_s);
        m_task = m_queue->make<WebSocketClient>(m_queue, socketOptions(*allowed));
        m_opening = m_queue->after(OPENING, [this] { fail(u"no answer within %1 seconds"_s.arg(OPENING.count())); });
        m_task->open();
    }

    WebSocketClient::Options socketOptions(const QByteArray &authorization) {
        const auto withLink = [weak = weak_from_this()](auto job) {
            if (const auto link = weak.lock(); link && link->m_task)
                job(*link);
        };
        return {.url = m_options.url,
                .headers = {"Authorization: " + authorization},
                .authority = m_options.authority,
                .largestMessage = LARGEST_MESSAGE,
                .onOpen = [withLink] { withLink([](Link &link) { link.opened(); }); },
                .onText = [withLink](QByteArrayView text) { withLink([text](Link &link) { link.receive(text); }); },
                .onEnd = [withLink](const WebSocketEnd &end) { withLink([&end](Link &link) { link.ended(end); }); }};
    }

    void opened() {
        m_opening.cancel();
        m_open = true;
        for (const auto &message : std::exchange(m_waiting, {}))
            write(message);
    }

    void write(const Message &message) { m_task->send(message.isText ? Opcode::text : Opcode::binary, message.bytes); }

    // Whoever is told may let go of the callback, and of this.
    void receive(QByteArrayView text) {
        const auto self = shared_from_this();
        if (const auto onText = m_options.onText)
            onText(QString::fromUtf8(text));
    }

    // That of ours is no news.
    void ended(const WebSocketEnd &end) {
        if (m_over)
            return hangUp();
        if (!end.code)
            return fail(end.reason);
        fail(u"the service closed the connection (%1)"_s.arg(
            end.reason.isEmpty() ? QString::number(*end.code) : u"%1: %2"_s.arg(*end.code).arg(end.reason)));
    }

    void fail(QString description) {
        if (m_over)
            return;
        const auto self = shared_from_this();
        if (!m_options.key.isEmpty())
            description.replace(m_options.key, u"…"_s); // what the service says may repeat it
        const auto onFailure = m_options.onFailure;
        hangUp();
        if (onFailure)
            onFailure(description);
    }

    const std::shared_ptr<SerialQueue> m_queue;
    Options m_options; // none once it is over
    std::shared_ptr<WebSocketClient> m_task;
    bool m_open = false;
    bool m_over = false;
    std::vector<Message> m_waiting; // to be open
    qint64 m_waitingBytes = 0;
    Timer m_opening;
    Timer m_goodbye;
};

Recognition::Recognition(std::shared_ptr<SerialQueue> queue, Options options)
    : m_link(std::make_shared<Link>(std::move(queue), std::move(options))) {
    m_link->openSoon();
}

Recognition::~Recognition() {
    if (!m_link->isSayingGoodbye())
        m_link->hangUp();
}

void Recognition::send(const QByteArray &bytes) {
    m_link->send(bytes, false);
}

void Recognition::sendText(const QString &text) {
    m_link->send(text.toUtf8(), true);
}

void Recognition::finish() {
    m_link->finish();
}

} // namespace ombru
