// One open page: what it watches and hears, and how far it has come. A page that is behind is served from the store,
// piece by piece as it reads, so that a slow one costs no memory. On the hub's queue.
#pragma once
#include "service/live/Channel.h"
#include "service/live/PageMessage.h"
#include "service/rates/Rates.h"
#include "service/store/Records.h"

#include <QJsonObject>
#include <QString>

#include <optional>
#include <set>

namespace ombru {

class Hub;
class LiveComputer;

class Page : public std::enable_shared_from_this<Page> {
public:
    struct Owner {
        qint64 account = 0;
        QByteArray session; // as it is kept
    };
    Page(Hub &hub, Owner owner, std::shared_ptr<Channel> channel);

    const Owner &owner() const { return m_owner; }
    std::optional<qint64> watched() const { return m_watch ? std::optional(m_watch->computer) : std::nullopt; }
    bool hears(qint64 computer) const { return m_hears == computer; }

    void start(const QByteArray &already);
    void close(Channel::Code code) { m_channel->close(code); }
    void look(Clock::Duration mostSilent); // asks whether it is there

    void changed(qint64 computer); // tells it when there is room
    // They are kept; `message` has them as the page is told of them, and is empty when they are too many for one.
    void came(const std::vector<Item> &items, const QByteArray &message);
    void read(quint64 watch, const Result<std::vector<Item>> &items); // that were asked for
    void play(QByteArrayView sound);
    void notAccepted(qint64 computer, const QString &text, const QString &why);
    void full(const QString &message); // why nothing is kept; empty once something is again

private:
    struct Watch {
        qint64 computer;
        quint64 number;    // of the page's watches
        qint64 last;       // that was sent
        qint64 asked = 0;  // up to this one
        bool told = false; // that it has caught up
    };
    void received(const Channel::Message &message);
    void take(const WatchRequest &request);
    void take(const UnwatchRequest &request);
    void take(const TaskRequest &request);
    void take(const CancelRequest &request);
    void take(const ListenRequest &request);
    std::shared_ptr<LiveComputer> computer(qint64 id) const; // none when it is not the owner's
    void gone(qint64 computer);
    void listen(qint64 computer, bool on);
    void send(const QJsonObject &message);
    void flush();
    void catchUp();
    void tellFull();
    bool hasRoom() const;

    Hub &m_hub;
    const Owner m_owner;
    const std::shared_ptr<Channel> m_channel;
    std::optional<Watch> m_watch;
    quint64 m_watches = 0;
    bool m_asking = false; // the store, for one or for an earlier watch: one question at a time
    Allowance m_messages{{.atOnce = 60, .aMinute = 120}};
    std::optional<qint64> m_hears;
    std::set<qint64> m_changed; // computers that it has to be told of
    QString m_full;
    QString m_toldFull;
};

} // namespace ombru
