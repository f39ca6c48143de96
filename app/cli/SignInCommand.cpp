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
        m_place.state.cancelSignIn();
    m_over.fire();
}

Task<int> SignInCommand::run() {
    auto &state = m_place.state;
    if (m_options.server) {
        if (const auto written = state.settings.serverURL.writeTyped(*m_options.server); !written) {
            m_place.output.complain(written.error().description);
            co_return 2;
        }
    }
    if (const auto address = state.settings.serverURL(); isReadableOnTheWay(address))
        m_place.output.complain(readableOnTheWayText(address));
    if (!m_place.stays)
        state.keepToRequests();
    m_own = begin();
    tick();
    look();
    co_await m_over;
    m_tick.cancel();
    m_place.output.showLive({});
    co_return m_interrupted ? 130 : co_await finish();
}

bool SignInCommand::begin() {
    m_began = Clock::now();
    if (m_place.state.signingIn->running)
        return false;
    m_place.state.signIn();
    return true;
}

void SignInCommand::look() {
    const auto &state = m_place.state;
    if (const auto *pairing = std::get_if<Auth::Pairing>(&state.auth->state))
        showCode(*pairing);
    if (m_began != Clock::Time() && !state.signingIn->running)
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
