#include "controller/CallDesk.h"

#include "base/OpenFiles.h"
#include "voice/Inbox.h"
#include "voice/TextChannel.h"
#include "voice/WSConnection.h"
#include "voice/WSServer.h"

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration TALKING = 1200ms; // after the last report of it
constexpr Clock::Duration HANGING_UP = 1s;

EventKind kindOf(VoiceCall::LineKind kind) {
    switch (kind) {
    case VoiceCall::LineKind::said:
        return EventKind::said;
    case VoiceCall::LineKind::heard:
        return EventKind::heard;
    case VoiceCall::LineKind::call:
        return EventKind::call;
    case VoiceCall::LineKind::bad:
        return EventKind::bad;
    }
    Q_UNREACHABLE();
}

} // namespace

CallDesk::CallDesk(const Settings &settings, std::function<CloudConfig()> config, std::unique_ptr<CallReports> reports)
    : m_settings(settings), m_config(std::move(config)), m_reports(std::move(reports)),
      m_here(std::make_shared<CallDesk *>(this)) {}

CallDesk::~CallDesk() = default;

CallDesk::Way CallDesk::way() {
    return [weak = std::weak_ptr(m_here)](std::move_only_function<void(CallDesk &)> what) {
        Loop::main().post([weak, what = std::move(what)]() mutable {
            if (const auto here = weak.lock())
                what(**here);
        });
    };
}

// --- The server

void CallDesk::startServer() {
    if (m_server || m_ending)
        return;
    const auto config = m_config();
    if (!config.trusted || config.wsToken.isEmpty())
        return m_reports->showServer(u"calls don't reach this Mac (ask the admin to route your number)"_s, false);
    const auto number = ++m_servers; // what an earlier one tells late is for nobody
    m_access = {m_settings.callPort(), config.wsToken};
    allowManyFiles(); // one a connection
    m_server = std::make_unique<WSServer>(
        WSServer::Options{.port = static_cast<quint16>(m_access.port),
                          .token = m_access.token,
                          .anyInterface = m_settings.callInterface() == "any"_L1,
                          .onConnection =
                              [way = way(), number](const std::shared_ptr<WSConnection> &ws) {
                                  way([ws, number, inbox = Inbox::of(ws)](CallDesk &self) {
                                      if (self.runs(number))
                                          self.accept(ws, *inbox);
                                      else
                                          ws->close();
                                  });
                              },
                          .onState =
                              [way = way(), number](const QString &line) {
                                  way([line, number](CallDesk &self) {
                                      if (self.runs(number))
                                          self.serverSaid(line);
                                  });
                              }});
    m_server->start();
}

void CallDesk::stopServer() {
    if (const auto server = std::exchange(m_server, nullptr))
        server->stop();
    m_reports->showServer({}, false);
}

void CallDesk::serverSaid(const QString &line) {
    const bool listening = !line.startsWith(u'✗');
    m_reports->showServer(line, listening);
    m_reports->emit(line, listening ? EventKind::call : EventKind::bad);
}

// --- What comes in

void CallDesk::accept(const std::shared_ptr<WSConnection> &ws, Inbox &inbox) {
    if (ws->path() == "/media"_L1)
        acceptCall(ws, inbox);
    else
        acceptTexts(ws, inbox);
}

void CallDesk::acceptCall(const std::shared_ptr<WSConnection> &ws, Inbox &inbox) {
    const auto id = ++m_lastCall;
    m_calls.emplace(id, Call{VoiceCall::begin(ws, inbox, optionsOf(id))});
}

VoiceCall::Options CallDesk::optionsOf(CallID id) {
    const auto config = m_config();
    return {
        .speech = {m_settings.speechURL(), m_settings.certificateAuthority()},
        .key = config.deepgramKey,
        .greeting = config.greeting,
        .ttsModel = config.ttsModel,
        .shareOnStart = config.shareAudio,
        .ask =
            [way = way()](const VoiceCall::Request &request) {
                way([request](CallDesk &self) {
                    self.m_reports->ask({request.text, request.caller, request.progress, request.done});
                });
            },
        .log =
            [way = way()](const QString &line, VoiceCall::LineKind kind) {
                way([line, kind](CallDesk &self) { self.m_reports->emit(line, kindOf(kind)); });
            },
        .onStart = [way = way(),
                    id](const QString &caller) { way([id, caller](CallDesk &self) { self.started(id, caller); }); },
        .onTalking = [way = way()] { way([](CallDesk &self) { self.noteCallerTalking(); }); },
        .onSpeaking =
            [way = way()](bool speaking) {
                way([speaking](CallDesk &self) { self.m_reports->showSpeaking(speaking); });
            },
        .onSharingChange =
            [way = way(), id](bool sharing) { way([id, sharing](CallDesk &self) { self.showSharing(id, sharing); }); },
        .onEnd = [way = way(), id] { way([id](CallDesk &self) { self.ended(id); }); }};
}

void CallDesk::acceptTexts(const std::shared_ptr<WSConnection> &ws, Inbox &inbox) {
    std::erase_if(m_textChannels, [](const auto &channel) { return channel.expired(); });
    m_textChannels.push_back(ws);
    serveTexts(ws, inbox, [way = way()](const TextRequest &request) {
        way([request](CallDesk &self) {
            self.m_reports->ask({request.text, request.from, request.progress, request.reply});
        });
    });
}

// --- The calls

void CallDesk::started(CallID id, const QString &caller) {
    m_calls.at(id).caller = caller;
    m_callers.append(caller);
    m_reports->showCallers(m_callers);
    m_reports->sendState();
    m_reports->announce(caller);
}

void CallDesk::noteCallerTalking() {
    m_reports->showTalking(true);
    m_talkingClear = Loop::main().after(TALKING, [this] { m_reports->showTalking(false); });
}

void CallDesk::showSharing(CallID id, bool sharing) {
    m_calls.at(id).sharing = sharing;
    m_reports->showSharing(std::ranges::any_of(m_calls, [](const auto &call) { return call.second.sharing; }));
}

void CallDesk::shareAudio(bool on) {
    for (const auto &[id, call] : m_calls)
        call.session->setSharing(on, true);
}

void CallDesk::hangUp() {
    for (const auto &[id, call] : m_calls)
        call.session->hangUp();
}

void CallDesk::ended(CallID id) {
    if (const auto caller = m_calls.at(id).caller)
        m_callers.removeOne(*caller);
    m_calls.erase(id);
    m_talkingClear.cancel();
    m_reports->showTalking(false);
    m_reports->showSpeaking(false);
    m_reports->showCallers(m_callers);
    m_reports->sendState();
    if (m_ending && m_calls.empty())
        m_idle.fire();
}

Task<> CallDesk::end() {
    m_ending = true;
    if (const auto server = std::exchange(m_server, nullptr))
        server->stop();
    for (const auto &channel : m_textChannels)
        if (const auto ws = channel.lock())
            ws->close();
    hangUp();
    const auto limit = Loop::main().after(HANGING_UP, [idle = m_idle] { idle.fire(); });
    if (!m_calls.empty())
        co_await m_idle;
    m_talkingClear.cancel();
    m_here.reset();
}

} // namespace ombru
