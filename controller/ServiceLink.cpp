#include "controller/ServiceLink.h"

#include "base/Background.h"
#include "cloud/AgentAddress.h"
#include "platform/HostInfo.h"
#include "platform/Workspace.h"

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString TOKEN = u"device-token"_s;
constexpr Clock::Duration BEAT = 60s;
constexpr double USUAL_INTERVAL = 2;     // seconds between two polls
constexpr Clock::Duration OPENING = 15s; // for a desktop that is asked to open the browser
constexpr Clock::Duration WRITING = 1s;  // at the end, for the store of secrets

// From the channel's queue to the main thread; for nobody once its channel is the one no more.
void tell(const std::weak_ptr<std::reference_wrapper<LinkReports>> &listener,
          std::move_only_function<void(LinkReports &)> what) {
    Loop::main().post([listener, what = std::move(what)]() mutable {
        if (const auto reports = listener.lock())
            what(*reports);
    });
}

// A page, and nothing else that a desktop would open.
std::optional<QUrl> pageAddress(const QJsonValue &value) {
    const QUrl url(value.toString(), QUrl::StrictMode);
    const bool page = url.scheme() == "https"_L1 || url.scheme() == "http"_L1;
    return url.isValid() && page && !url.host().isEmpty() ? std::optional(url) : std::nullopt;
}

} // namespace

ServiceLink::ServiceLink(Settings &settings, std::unique_ptr<LinkReports> reports)
    : m_settings(settings), m_reports(std::move(reports)),
      m_sound({.emit = [this](const QString &text, EventKind kind) { m_reports->emit(text, kind); },
               .send =
                   [this](QByteArray block) {
                       if (m_agent)
                           m_agent->sendAudio(std::move(block));
                   }}) {}

Cloud ServiceLink::cloud() const {
    return Cloud({.userAgent = Cloud::userAgent(), .authority = m_settings.certificateAuthority()});
}

void ServiceLink::showAuth(const Auth &auth) {
    m_auth = auth;
    m_reports->showAuth(auth);
}

Task<bool> ServiceLink::restoreSignIn() {
    co_await m_keychain.load(TOKEN, m_tasks.token());
    const bool begun = !m_auth.is<Auth::Loading>(); // the owner signs in already
    if (!m_keychain.get(TOKEN) && !begun && !ending())
        showAuth({Auth::SignedOut{}});
    co_return m_keychain.get(TOKEN) && !ending();
}

Task<> ServiceLink::end() {
    m_heartbeat.request_stop();
    const auto tasks = m_tasks.drain();
    const auto sound = m_sound.end();
    if (m_agent)
        co_await m_agent->end();
    co_await sound;
    co_await tasks;
    co_await m_keychain.end(WRITING);
}

// --- Signing in and out

void ServiceLink::signIn() {
    m_tasks.start(followSignIn());
}

Task<> ServiceLink::followSignIn() {
    ++m_signIns;
    m_signIn = {.running = true};
    m_reports->showSignIn(m_signIn);
    co_await pair();
    m_signIn.running = --m_signIns > 0;
    m_reports->showSignIn(m_signIn);
}

void ServiceLink::endSignIn(const QString &text, EventKind kind) {
    m_signIn.outcome = {kind, text, Clock::unixSeconds()};
    m_reports->showSignIn(m_signIn); // first, for who would say the line twice
    m_reports->emit(text, kind);
}

Task<> ServiceLink::pair() {
    const auto code = co_await requestCode();
    if (ending())
        co_return;
    if (!code)
        co_return signInFailed(code.error().description);
    if (!*code) {
        endSignIn(u"✗ sign-in failed: unexpected reply from "_s + m_settings.serverURL(), EventKind::bad);
        co_return;
    }
    m_signIn.code = {(*code)->user, (*code)->verifyURL};
    m_reports->showSignIn(m_signIn);
    showAuth({*m_signIn.code});
    m_tasks.start(openPage((*code)->verifyURL)); // which may take its time
    co_await poll(**code);
}

// None when the reply is not what it should be.
Task<Result<std::optional<ServiceLink::Code>>> ServiceLink::requestCode() {
    const auto service = cloud();
    const auto host = hostName();
    const auto name = host.isEmpty() ? u"Mac"_s : host;
    auto asking = m_asking = {};
    const std::stop_callback atTheEnd(m_tasks.token(), [&asking] { asking.request_stop(); });
    const auto reply =
        co_await service.post(m_settings.serverURL(), u"/api/device/start"_s, {{u"name"_s, name}}, asking.get_token());
    if (!reply)
        co_return std::unexpected(reply.error());
    const auto device = (*reply)["device_code"_L1];
    const auto user = (*reply)["user_code"_L1];
    const auto page = pageAddress((*reply)["verify_url"_L1]);
    if (!device.isString() || !user.isString() || !page)
        co_return std::nullopt;
    const auto interval = (*reply)["interval"_L1].toDouble(USUAL_INTERVAL);
    co_return Code{device.toString(), user.toString(), *page, Clock::seconds(interval)};
}

// Where there is no browser the owner finds the address in the event log.
Task<> ServiceLink::openPage(QUrl page) {
    const auto address = page.toString(QUrl::FullyEncoded);
    const auto opened = co_await backgroundWithin(OPENING, m_tasks.token(), [address] { return openURL(address); });
    if (!ending() && (!opened || !*opened))
        m_reports->emit(u"Open this page to sign in: "_s + address, EventKind::warn);
}

void ServiceLink::openSignInPage() {
    if (const auto *pairing = std::get_if<Auth::Pairing>(&m_auth.state))
        m_tasks.start(openPage(pairing->verifyURL));
}

Task<> ServiceLink::poll(Code code) {
    // Looked at before each wait and not after it: a poll that was due is still sent.
    while (m_auth.is<Auth::Pairing>() && !ending()) {
        co_await sleep(code.interval, m_tasks.token());
        if (ending())
            co_return;
        const auto service = cloud();
        const auto reply = co_await service.post(m_settings.serverURL(), u"/api/device/poll"_s,
                                                 {{u"device_code"_s, code.device}}, m_tasks.token());
        if (ending())
            co_return;
        if (!reply)
            co_return signInFailed(reply.error().description);
        const auto status = (*reply)["status"_L1].toString();
        if (status == "ok"_L1)
            co_return co_await finishSignIn((*reply)["token"_L1]);
        if (status == "expired"_L1) {
            showAuth({Auth::SignedOut{}});
            endSignIn(u"Sign-in code expired — try again."_s, EventKind::warn);
            co_return;
        }
    }
}

Task<> ServiceLink::finishSignIn(QJsonValue token) {
    m_keychain.set(TOKEN, token.isString() ? std::optional(token.toString()) : std::nullopt);
    if (m_keychain.get(TOKEN))
        stopAgent(); // it showed an older one
    co_await loadConfig();
    if (ending())
        co_return;
    startHeartbeat();
    m_signIn.accepted = m_keychain.get(TOKEN).has_value();
    endSignIn(u"signed in as "_s + m_email, EventKind::good);
}

void ServiceLink::signInFailed(const QString &why) {
    showAuth({Auth::SignedOut{}});
    endSignIn(u"✗ sign-in failed: "_s + why, EventKind::bad);
}

void ServiceLink::cancelSignIn() {
    showAuth({Auth::SignedOut{}});
}

void ServiceLink::giveUpSignIn() {
    m_asking.request_stop();
    cancelSignIn();
}

void ServiceLink::signOut() {
    m_keychain.set(TOKEN, std::nullopt);
    m_heartbeat.request_stop();
    stopAgent();
    m_sound.listen(false);
    m_reports->stopServer();
    m_reports->showReachable(false);
    applyConfig({});
    showAuth({Auth::SignedOut{}});
}

// --- The configuration

Task<> ServiceLink::loadConfig() {
    const auto token = m_keychain.get(TOKEN);
    if (!token) {
        showAuth({Auth::SignedOut{}});
        co_return;
    }
    const auto service = cloud();
    const auto base = m_settings.serverURL();
    const auto config = co_await service.config(base, *token, m_tasks.token());
    if (ending())
        co_return;
    if (!config)
        unreachable(base, config.error().description);
    else if (!*config)
        refused();
    else
        take(**config);
}

void ServiceLink::take(const CloudConfig &config) {
    applyConfig(config);
    m_reports->showReachable(true);
    if (!config.systemPrompt.isEmpty())
        keepPrompt(config.systemPrompt);
    showAuth({Auth::SignedIn{config.email}});
    if (!m_requestsOnly && m_keychain.get(TOKEN)) // a sign-out may have come in between
        m_reports->startServer();
    startAgent();
}

void ServiceLink::applyConfig(const CloudConfig &config) {
    m_email = config.email;
    m_reports->applyConfig(config);
}

void ServiceLink::keepPrompt(const QString &prompt) {
    const auto written = m_settings.cachedPrompt.write(prompt);
    if (const bool before = std::exchange(m_promptKept, written.has_value()); before && !written) // not each minute
        m_reports->emit(u"✗ "_s + written.error().description, EventKind::warn);
}

void ServiceLink::refused() {
    m_keychain.set(TOKEN, std::nullopt);
    showAuth({Auth::SignedOut{}});
    m_reports->emit(u"This Mac was disconnected from your ombru account — sign in again."_s, EventKind::warn);
}

void ServiceLink::unreachable(const QString &base, const QString &why) {
    m_reports->showReachable(false);
    if (m_auth.is<Auth::Loading>())
        showAuth({Auth::SignedIn{Auth::OFFLINE}});
    m_reports->emit(u"✗ couldn't reach "_s + base + u": "_s + why, EventKind::bad);
}

void ServiceLink::startHeartbeat() {
    if (m_requestsOnly || ending())
        return;
    m_heartbeat.request_stop();
    m_heartbeat = {};
    m_tasks.start(beat(m_heartbeat.get_token()));
}

// A cancel ends the wait, not the round.
Task<> ServiceLink::beat(std::stop_token cancelled) {
    do {
        co_await sleep(BEAT, cancelled);
        if (ending())
            co_return;
        co_await loadConfig();
        if (ending())
            co_return;
        co_await m_reports->refreshPermissions();
    } while (!cancelled.stop_requested() && !ending());
}

// --- The channel

void ServiceLink::startAgent() {
    const auto token = m_keychain.get(TOKEN);
    const auto address = agentAddress(m_settings.agentURL(), m_settings.serverURL());
    if (m_requestsOnly || m_agent || !token || !address)
        return;
    m_listener = std::make_shared<Listener>(*m_reports);
    const std::weak_ptr weak = m_listener;
    m_agent = std::make_shared<AgentClient>(AgentClient::Options{
        .url = *address,
        .token = *token,
        .userAgent = Cloud::userAgent(),
        .authority = m_settings.certificateAuthority(),
        .onMessage =
            [weak](const QJsonObject &message) {
                if (const auto command = agentCommand(message))
                    tell(weak, [command = *command](LinkReports &reports) { reports.handle(command); });
            },
        .onConnected =
            [weak](bool open) { tell(weak, [open](LinkReports &reports) { reports.channelOpened(open); }); }});
    m_reports->channelExists([agent = std::weak_ptr(m_agent)](AgentMessage message) {
        const auto length = isBrief(message) ? AgentClient::Length::brief : AgentClient::Length::lengthy;
        if (const auto client = agent.lock())
            client->send([message = std::move(message)] { return jsonText(message); }, length);
    });
    m_agent->start();
}

void ServiceLink::listen(bool on) {
    if (!ending())
        m_sound.listen(on);
}

void ServiceLink::stopAgent() {
    m_listener.reset();
    if (const auto agent = std::exchange(m_agent, nullptr))
        agent->stop();
    m_reports->channelExists({});
}

} // namespace ombru
