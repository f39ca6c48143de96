// What the service keeps, as values. Times are seconds since 1970, by the service's clock unless said otherwise.
#pragma once
#include "wire/AgentMessages.h"

#include <QByteArray>
#include <QString>

#include <map>
#include <optional>
#include <vector>

namespace ombru {

struct Account {
    qint64 id = 0;
    QString email = {};

    bool operator==(const Account &) const = default;
};

struct AccountSecret {
    Account account = {};
    QByteArray password = {}; // as libsodium writes a hash of it; empty: signs in some other way
};

struct ComputerRecord {
    qint64 id = 0;
    qint64 account = 0;
    QString name = {};
    QString platform = {}; // "linux", "macos", "other"
    QString address = {};  // that it signed in from
    double signedIn = 0;
    bool revoked = false;
    std::optional<double> seen = {};    // when it was connected last
    std::optional<double> fetched = {}; // when it asked for its configuration last
    qint64 lastNumber = 0;              // of its items

    bool operator==(const ComputerRecord &) const = default;
};

// A computer that wants to be signed in.
struct DeviceRequest {
    QString name = {};
    QString platform = {};
    QString address = {};
    double asked = 0;
    double expires = 0;
    enum class State { open, allowed, refused };
    State state = State::open;
};

// What the owner sets for one computer; what was never set is not there.
enum class ComputerField { systemPrompt, greeting, voice, speechKey, trusted, shareAudio };
struct SetValue {
    QString text = {}; // "on" or "off" for a choice
    double saved = 0;
    std::optional<double> arrived = {}; // when the computer got it

    bool operator==(const SetValue &) const = default;
};
using ComputerFields = std::map<ComputerField, SetValue>;

struct TaskRecord {
    qint64 id = 0;
    qint64 computer = 0;
    QString text = {};
    QString from = {}; // "web", "phone", "terminal"
    double began = 0;
    std::optional<double> ended = {};
    int steps = 0;
    // Then "done", "answered", "unfinished" (out of steps), "stopped", "failed", "unknown" (its end was not seen).
    QString outcome = QStringLiteral("running");
    QString answer = {};

    bool operator==(const TaskRecord &) const = default;
};

// One line of a computer's log, or a picture: numbered without a gap, from 1.
struct Item {
    qint64 number = 0;
    qint64 computer = 0;
    std::optional<qint64> task = {};
    int step = 0;
    double time = 0;   // as the computer says
    QString kind = {}; // of an event, or "picture"
    QString text = {};
    std::optional<qint64> cutFrom = {}; // bytes that the text had, when it was shortened
    std::optional<qint64> picture = {};

    bool isPicture() const { return picture.has_value(); }
    bool operator==(const Item &) const = default;
};

// What a computer has told, on its way into the history.
struct LostMessage {}; // its channel is gone
struct Told {
    qint64 computer = 0;
    double received = 0;
    std::variant<EventMessage, ScreenshotMessage, StateMessage, LostMessage> message = {};
    qint64 cut = 0; // bytes of an event's text that are missing at its end
};

// A task that has begun or changed.
struct TaskChange {
    TaskRecord task = {};
    bool lost = false;  // it ended because the channel did
    bool begun = false; // it is new

    bool operator==(const TaskChange &) const = default;
};

// What has become of one thing that was told, as it is shown and kept.
struct Entry {
    qint64 computer = 0;
    double received = 0;
    std::vector<TaskChange> tasks = {}; // in order
    std::optional<Item> item = {};
    QByteArray jpeg = {}; // of an item that is a picture

    bool operator==(const Entry &) const = default;
};

// What pages are told of several.
struct Appended {
    std::vector<Item> items = {};
    std::vector<TaskRecord> tasks = {}; // those that have changed, as they are now
};

} // namespace ombru
