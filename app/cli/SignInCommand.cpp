#include "app/cli/SignInCommand.h"

#include "app/cli/Errand.h"
#include "app/cli/EventPrinter.h"
#include "cloud/PlainHttp.h"
#include "platform/PeerProcess.h"

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

template <class Command>
Errand::Maker makerOf(const auto &...options) {
    return [options...](const CommandPlace &place) -> std::unique_ptr<StateCommand> {
        return std::make_unique<Command>(place, options...);
    };
}

int refuse() {
    qCritical("%s", qUtf8Printable(notForScriptsText()));
    return 1;
}

} // namespace

QString notForScriptsText() {
    return u"A script cannot change which service this computer belongs to; only you can, outside of it."_s;
}

SignInCommand::SignInCommand(const CommandPlace &place, SignInOptions options)
    : m_place(place), m_options(std::move(options)) {
    m_watched = place.state.onWillChange([this] {
        onMain(&m_place.state, [this, alive = std::weak_ptr(m_alive)] {
            if (!alive.expired())
                look();
        });
    });
}

void SignInCommand::interrupt() {
    if (std::exchange(m_interrupted, true))
        return;
    if (m_own)
        m_place.state.giveUpSignIn();
    m_over.fire();
}

// The line it ends with, and that no browser opened: the address is shown anyway.
bool SignInCommand::tells(const Event &event) const {
    const auto &view = m_place.state.signingIn;
    const bool hasAddress = view->code && event.text.endsWith(view->code->verifyURL.toString(QUrl::FullyEncoded));
    return hasAddress || event.text == view->outcome.text;
}

Task<int> SignInCommand::run() {
    auto &state = m_place.state;
    m_own = !mayBeJoined();
    if (const int status = setServer(); status != 0)
        co_return status;
    if (const auto address = state.settings.serverURL(); isReadableOnTheWay(address))
        m_place.output.complain(readableOnTheWayText(address));
    if (!m_place.stays)
        state.keepToRequests();
    begin();
    tick();
    look();
    co_await m_over;
    m_tick.cancel();
    m_place.output.showLive({});
    co_return m_interrupted ? 130 : co_await finish();
}

// One that was cancelled still sends the poll that was due.
bool SignInCommand::mayBeJoined() const {
    const auto &view = m_place.state.signingIn;
    return view->running && (!view->code || m_place.state.auth->is<Auth::Pairing>());
}

// Whoever joins another sign-in changes nothing, and is not signed in elsewhere than asked for either.
int SignInCommand::setServer() {
    auto &address = m_place.state.settings.serverURL;
    if (!m_options.server || *m_options.server == address())
        return 0;
    if (!m_own) {
        m_place.output.complain(
            u"A sign-in to %1 is under way: wait for its end, or cancel it where it was begun."_s.arg(address()));
        return 1;
    }
    const auto written = address.writeTyped(*m_options.server);
    if (!written)
        m_place.output.complain(written.error().description);
    return written ? 0 : 2;
}

void SignInCommand::begin() {
    m_began = Clock::now();
    if (m_own)
        m_place.state.signIn();
}

// The code in `auth` may be that of an earlier one, whose end left it there.
void SignInCommand::look() {
    const auto &view = m_place.state.signingIn;
    if (m_began == Clock::Time())
        return;
    if (view->code)
        showCode(*view->code);
    if (!view->running)
        m_over.fire();
}

void SignInCommand::showCode(const Auth::Pairing &pairing) {
    if (std::exchange(m_shown, pairing.userCode) == pairing.userCode)
        return;
    m_place.output.print(
        u"Open %1 and approve the code %2"_s.arg(pairing.verifyURL.toString(QUrl::FullyEncoded), pairing.userCode),
        Colour::bold);
}

void SignInCommand::tick() {
    const auto seconds = int(Clock::secondsSince(m_began));
    m_place.output.showLive(u"… %1 %2s · Ctrl-C cancels"_s.arg(
        m_shown.isEmpty() ? u"Asking the service for a code"_s : u"Waiting for you to approve the code"_s,
        QString::number(seconds)));
    m_tick = Loop::main().after(1s, [this] { tick(); });
}

Task<int> SignInCommand::finish() {
    const auto view = m_place.state.signingIn();
    if (!view.outcome.text.isEmpty())
        m_place.output.print(view.outcome.text, colourOf(view.outcome.kind));
    if (view.outcome.kind == EventKind::bad)
        m_place.output.print(
            u"The service is expected at %1. If yours is elsewhere: ombru sign-in --server ADDRESS"_s.arg(
                m_place.state.settings.serverURL()));
    if (!view.accepted)
        co_return 1;
    if (!m_place.stays)
        co_await m_place.state.secretsKept();
    co_return 0;
}

Task<int> SignOutCommand::run() {
    m_place.state.signOut();
    if (!m_place.stays)
        co_await m_place.state.secretsKept();
    m_place.output.print(u"Signed out."_s);
    co_return 0;
}

int runCommand(SignInOptions options) {
    return servesAScript() ? refuse() : runErrand(options, makerOf<SignInCommand>(options));
}

int runCommand(SignOutOptions options) {
    return servesAScript() ? refuse() : runErrand(options, makerOf<SignOutCommand>());
}

} // namespace ombru
