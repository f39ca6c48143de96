// One computer as it is right now: its channel, what it said last, which tasks it was handed and has not begun, and who
// hears it. On the hub's queue.
#pragma once
#include "service/live/Channel.h"
#include "service/live/Journal.h"
#include "service/live/Json.h"
#include "wire/AgentCommands.h"

#include <deque>

namespace ombru {

class Page;

class LiveComputer : public std::enable_shared_from_this<LiveComputer> {
public:
    struct Listener {
        std::function<void(const LiveComputer &)> onChange;
        std::function<void(const LiveComputer &, QByteArrayView)> onSound;
        std::function<void()> onHeldBack; // it is read no further until the disk has caught up
    };
    // What is kept of it.
    struct Last {
        std::optional<TaskRecord> task = {};
        std::optional<Item> picture = {};
    };
    LiveComputer(SerialQueue &queue, std::shared_ptr<Journal> journal, ComputerRecord record, Last last,
                 Listener listener);

    const ComputerRecord &record() const { return m_record; }
    const Presence &presence() const { return m_presence; }
    QJsonObject json() const { return toJson(m_record, m_presence); }

    // The newest channel is the one.
    void connect(const std::shared_ptr<Channel> &channel, const QByteArray &already);
    void look(Clock::Duration mostSilent); // at a channel that says nothing
    void close(Channel::Code code);

    void revoke();
    void signedIn(ComputerRecord record); // again
    void fetched(double time, const QString &platform);
    void forget();
    void noted(qint64 lastNumber) { m_record.lastNumber = std::max(m_record.lastNumber, lastNumber); }
    void noted(const TaskRecord &task);
    void noted(const Item &picture);

    // `page` hears when it is not accepted.
    void handTask(const std::weak_ptr<Page> &page, const QString &text);
    void cancelTask();
    void setListening(bool on);

private:
    struct Handed {
        std::weak_ptr<Page> page;
        QString text;
        Timer limit;
    };
    void received(const Channel::Message &message);
    void take(const AgentMessage &message, qint64 cut);
    void note(const StateMessage &state);
    void note(const EventMessage &event, qint64 cut);
    void note(const ScreenshotMessage &screenshot);
    void note(const HelloMessage &) {}
    void gone(const std::shared_ptr<Channel> &channel);
    void tell(Told told);
    void waitForRoom();
    void send(const QJsonObject &command);
    void changed() { m_listener.onChange(*this); }
    QString whyNot(const QString &words) const;
    void giveBack(const QString &why); // the first that was handed

    SerialQueue &m_queue;
    const std::shared_ptr<Journal> m_journal;
    const Listener m_listener;
    ComputerRecord m_record;
    Presence m_presence;
    std::shared_ptr<Channel> m_channel;
    std::deque<Handed> m_handed;
};

} // namespace ombru
