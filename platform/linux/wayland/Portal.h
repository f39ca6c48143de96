// The desktop portal: the service on the session bus through which a Wayland session lets programs see its screen and
// send it keys, once its owner has agreed. One conversation with it, over a connection of its own. One thread, not the
// main one: everything blocks, and everything has a limit. Not through libportal, which is made for programs on GLib's
// main loop: version 0.6 crashes where there is no session bus, hands out nothing to keep for keys, cannot read what
// the owner has decided, and costs 2 ms to load.
#pragma once
#include "base/Failure.h"

#include <QVariantMap>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

struct sd_bus;
struct sd_bus_message;

namespace ombru {

class Portal {
public:
    // Failures have the domain "portal" and one of these codes. What to do about one, portalRemedy() says.
    enum Code { NO_BUS = 1, NO_PORTAL, REFUSED, ENDED, NO_ANSWER };

    // Connects to the session bus.
    static Result<Portal> open();

    // Which version of the interface the portal has.
    Result<unsigned> version(const QString &interface);

    // What the portal's store remembers of the owner's decision about a program ("yes", "no", "ask"); empty when that
    // is nothing. `program` is as portalProgram() names it.
    QString decision(const QString &table, const QString &id, const QString &program);

    struct Argument {
        char type; // 's': a text; 'o': an object's path
        QString value;
    };
    // Calls a method that asks the owner, and waits for the answer: its results, as far as they are texts, numbers and
    // truths. The options, which go after the arguments, are texts, truths and unsigned numbers. A portal that does not
    // even take the call is given up after five seconds, or earlier when the limit is.
    Result<QVariantMap> request(const QString &interface, const QString &method, const std::vector<Argument> &arguments,
                                QVariantMap options, std::chrono::nanoseconds limit);

    // Ends a session of the portal's.
    void endSession(const QString &path);

private:
    using Message = std::unique_ptr<sd_bus_message, sd_bus_message *(*)(sd_bus_message *)>;
    struct Close {
        void operator()(sd_bus *bus) const;
    };

    Result<> connect(const QByteArray &address);
    bool wait(std::chrono::nanoseconds limit, const std::function<bool()> &over);
    Message method(const QByteArray &service, const QString &path, const QString &interface, const QString &name);
    static constexpr std::chrono::seconds ANSWERING{5}; // for what asks nobody
    Result<Message> send(const Message &message, std::chrono::nanoseconds limit = ANSWERING);

    std::unique_ptr<sd_bus, Close> m_bus;
    QByteArray m_owner; // the portal's unique name, once it is known
};

// What the owner can do about a Failure with that domain.
QString portalRemedy(const Failure &failure);

// What the portal calls the program that is in that control group: it goes by the unit that a desktop starts each
// application in. Empty for one that was started otherwise.
QString portalProgram(const QString &cgroup);

// A text that no other request or session of this program's has: it becomes part of its path.
QString newPortalToken();

} // namespace ombru
