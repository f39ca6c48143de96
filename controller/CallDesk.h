// Takes calls: owns the local server that a telephony provider connects to, and a session for each open call. What is
// asked in them goes to its CallReports, as does all that is to be shown.
//
// Main thread. A concern with a stop of its own: a sign-out closes the server and leaves the open calls alone; end()
// before it is destroyed.
#pragma once
#include "base/Task.h"
#include "cloud/CloudConfig.h"
#include "controller/CallAccess.h"
#include "controller/Event.h"
#include "settings/Settings.h"
#include "voice/VoiceCall.h"

#include <QStringList>

#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace ombru {

class WSServer;

struct PhoneRequest {
    QString text;
    QString caller;
    std::function<void(const QString &)> say;  // in between; any thread
    std::function<void(const QString &)> done; // once; an empty text is not spoken
};

class CallReports {
public:
    virtual ~CallReports() = default;
    virtual void emit(const QString &text, EventKind kind) = 0;
    virtual void showServer(const QString &status, bool listening) = 0;
    virtual void showCallers(const QStringList &callers) = 0;
    virtual void showSharing(bool sharing) = 0; // into any of the calls
    virtual void showTalking(bool talking) = 0;
    virtual void showSpeaking(bool speaking) = 0;
    virtual void sendState() = 0; // to the web page
    virtual void announce(const QString &caller) = 0;
    virtual void ask(const PhoneRequest &request) = 0;
};

class CallDesk {
public:
    // The configuration is asked for at each start of the server and at each call.
    CallDesk(const Settings &settings, std::function<CloudConfig()> config, std::unique_ptr<CallReports> reports);
    ~CallDesk();

    void startServer(); // once, when the service lets calls reach this computer; else says that they do not
    void stopServer();  // calls that are open go on

    // Of the server that runs, which keeps what it was started with.
    std::optional<CallAccess> access() const { return m_server ? std::optional(m_access) : std::nullopt; }

    bool inCall() const { return !m_calls.empty(); }
    void shareAudio(bool on); // in every call, and each caller hears of it
    void hangUp();            // every call; the server goes on

    // Closes the server and hangs up every call.
    Task<> end();

private:
    using CallID = int;
    struct Call {
        std::shared_ptr<VoiceCall> session;
        std::optional<QString> caller = {}; // once it has started
        bool sharing = false;
    };
    using Way = std::function<void(std::move_only_function<void(CallDesk &)>)>;

    Way way(); // to the main thread, from any; for nobody once the desk is gone
    bool runs(int server) const { return m_server && server == m_servers; }
    void serverSaid(const QString &line);
    void accept(const std::shared_ptr<WSConnection> &ws, Inbox &inbox);
    void acceptCall(const std::shared_ptr<WSConnection> &ws, Inbox &inbox);
    void acceptTexts(const std::shared_ptr<WSConnection> &ws, Inbox &inbox);
    VoiceCall::Options optionsOf(CallID id);
    void started(CallID id, const QString &caller);
    void noteCallerTalking();
    void showSharing(CallID id, bool sharing);
    void ended(CallID id);

    const Settings &m_settings;
    std::function<CloudConfig()> m_config;
    std::unique_ptr<CallReports> m_reports;
    std::unique_ptr<WSServer> m_server;
    int m_servers = 0; // so many were started
    CallAccess m_access;
    std::map<CallID, Call> m_calls;
    CallID m_lastCall = 0;
    QStringList m_callers;
    std::vector<std::weak_ptr<WSConnection>> m_textChannels;
    Timer m_talkingClear;
    Completion m_idle; // no call is left, and none comes
    bool m_ending = false;
    std::shared_ptr<CallDesk *> m_here; // ends every way
};

} // namespace ombru
