#include "app/DoctorCommand.h"

#include "agent/AppleScriptRunner.h"
#include "agent/Claude.h"
#include "platform/Diagnosis.h"
#include "platform/ScriptTool.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr double SCRIPT_LIMIT = 10; // seconds

Check describe(const Claude::Unknown &) {
    return {false, u"it gave no usable answer about its sign-in"_s,
            u"Run `claude auth status` and see what it says."_s};
}
Check describe(const Claude::Missing &) {
    return {false, u"it is not installed"_s, u"Install it: "_s + Claude::installCommand};
}
Check describe(const Claude::Outdated &outdated) {
    return {false, u"it is too old: it does not know "_s + outdated.missing.join(u", "_s), u"Run `claude update`."_s};
}
Check describe(const Claude::SignedOut &) {
    return {false, u"it is not signed in"_s, u"Run `claude auth login`."_s};
}
Check describe(const Claude::Ready &ready) {
    return {true, ready.email.isEmpty() ? u"signed in"_s : u"signed in as "_s + ready.email, {}};
}

Task<Check> claudeCheck(std::stop_token stop) {
    const auto state = co_await Claude::check(stop);
    co_return std::visit([](const auto &which) { return describe(which); }, state);
}

Task<Check> scriptCheck(std::shared_ptr<AppleScriptRunner::Run> handle) {
    const auto outcome = co_await AppleScriptRunner::run(u"return 6 * 7"_s, SCRIPT_LIMIT, handle);
    if (outcome.ok && outcome.text == u"42"_s)
        co_return Check{true, osascriptPath(), {}};
    co_return Check{false, outcome.text.trimmed(),
                    u"%1 must be ombru's own: build or install it again."_s.arg(osascriptPath())};
}

void report(Terminal &terminal, const QString &name, const Check &check) {
    const auto line = u"%1 %2  %3"_s.arg(check.works ? u"✓"_s : u"✗"_s, name.leftJustified(13), check.what);
    terminal.print(line, check.works ? Colour::green : Colour::red);
    if (!check.works)
        terminal.print(u"                 → "_s + check.remedy);
}

} // namespace

void DoctorCommand::interrupt() {
    m_stop.request_stop();
    m_script->cancel();
}

Task<int> DoctorCommand::run() {
    m_terminal.showLive(u"… Looking at the screen"_s);
    const auto screen = co_await screenCheck();
    report(m_terminal, u"screen"_s, screen);
    const auto input = co_await inputCheck();
    report(m_terminal, u"input"_s, input);
    m_terminal.showLive(u"… Asking the desktop"_s);
    const auto notifications = co_await notificationCheck();
    report(m_terminal, u"notifications"_s, notifications);
    m_terminal.showLive(u"… Asking claude whether it is signed in"_s);
    const auto claude = co_await claudeCheck(m_stop.get_token());
    if (!m_stop.stop_requested())
        report(m_terminal, u"claude"_s, claude);
    m_terminal.showLive(u"… Running a script"_s);
    const auto script = co_await scriptCheck(m_script);
    m_terminal.showLive({});
    if (m_stop.stop_requested())
        co_return 130;
    report(m_terminal, u"osascript"_s, script);
    // Without notifications a task still runs; it only goes unannounced.
    const bool ready = screen.works && input.works && claude.works && script.works;
    co_return ready ? 0 : 1;
}

} // namespace ombru
