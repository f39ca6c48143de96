// This computer's side of the account: the sign-in, the configuration that is asked for once a minute, and the channel
// to the web page. Owns the token, the requests, the channel and the heartbeat; what happens goes to its LinkReports.
// Main thread. A concern with a scope and a stop of its own: a sign-out ends it and leaves a running task alone; end()
// before it is destroyed.
//
// A cancelled sign-in and a cancelled heartbeat do not stop at once: a poll that was due is still sent and its answer
// counts, and the heartbeat finishes its round. Only the end of the program breaks their waits off.
#pragma once
#include "cloud/AgentClient.h"
#include "cloud/Auth.h"
#include "cloud/Cloud.h"
#include "cloud/Keychain.h"
#include "controller/SignInView.h"
#include "controller/WebChannel.h"
#include "controller/WebSound.h"
#include "settings/Settings.h"
#include "wire/AgentCommands.h"

#include <functional>
#include <memory>
#include <optional>

namespace ombru {

class LinkReports {
public:
    virtual ~LinkReports() = default;
    virtual void emit(const QString &text, EventKind kind) = 0;
    virtual void showAuth(const Auth &auth) = 0;
    virtual void showSignIn(const SignInView &view) = 0;
    virtual void showReachable(bool reachable) = 0; // the service answered the last request
    virtual void applyConfig(const CloudConfig &config) = 0;
    virtual void startServer() = 0; // of calls; nothing when it runs
    virtual void stopServer() = 0;
    virtual void channelExists(WebChannel::Send send) = 0; // from now on; empty: no more
    virtual void channelOpened(bool open) = 0;
    virtual void handle(const AgentCommand &command) = 0; // from the web page
    virtual Task<> refreshPermissions() = 0;
};

class ServiceLink {
public:
    ServiceLink(Settings &settings, std::unique_ptr<LinkReports> reports);

    // Once, at the start: whether a sign-in is kept, however long its store takes to tell. Without one this computer is
    // signed out.
    Task<bool> restoreSignIn();

    // Asks the service for its configuration. That tells whether the sign-in counts, and starts the channel when it
    // does.
    Task<> loadConfig();

    // Asks again once a minute from now on, and looks at what is allowed; instead of the one that runs.
    void startHeartbeat();

    void signIn();
    void openSignInPage(); // again, while a code is outstanding
    void cancelSignIn();
    void giveUpSignIn(); // cancels it; when its code has not come yet, none comes, and no page opens
    void signOut();

    // From now on neither heartbeat nor call server nor channel begins: for a program that only signs in, or out.
    void keepToRequests() { m_requestsOnly = true; }

    // Once the store of secrets has all that was decided so far.
    Task<> secretsKept() { return m_keychain.written(); }

    void listen(bool on); // the page wants to hear what this computer plays, or no more

    const Auth &auth() const { return m_auth; }

    // Says goodbye on the channel, breaks every wait off, and waits until all has ended.
    Task<> end();

private:
    using Listener = std::reference_wrapper<LinkReports>;
    struct Code {
        QString device; // what the service knows the sign-in by
        QString user;   // what its owner types
        QUrl verifyURL;
        Clock::Duration interval;
    };
    Cloud cloud() const;
    Task<Result<std::optional<Code>>> requestCode();
    Task<> pair();
    Task<> followSignIn();
    Task<> openPage(QUrl page);
    Task<> poll(Code code);
    Task<> finishSignIn(QJsonValue token);
    void signInFailed(const QString &why);
    void endSignIn(const QString &text, EventKind kind); // with this line
    void take(const CloudConfig &config);
    void applyConfig(const CloudConfig &config);
    void keepPrompt(const QString &prompt);
    void refused();
    void unreachable(const QString &base, const QString &why);
    Task<> beat(std::stop_token cancelled);
    void startAgent();
    void stopAgent();
    void showAuth(const Auth &auth);
    bool ending() const { return m_tasks.token().stop_requested(); }

    Settings &m_settings;
    std::unique_ptr<LinkReports> m_reports;
    Auth m_auth;
    SignInView m_signIn;
    int m_signIns = 0;         // that run
    std::stop_source m_asking; // the newest sign-in's for its code
    bool m_requestsOnly = false;
    bool m_promptKept = true; // the last time
    Keychain m_keychain;
    std::shared_ptr<AgentClient> m_agent; // whoever sends refers to it weakly
    std::shared_ptr<Listener> m_listener; // its way back here, as long as it is the one
    QString m_email;                      // of the configuration
    WebSound m_sound;
    std::stop_source m_heartbeat;
    TaskScope m_tasks;
};

} // namespace ombru
