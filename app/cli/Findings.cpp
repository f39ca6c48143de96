#include "app/cli/Findings.h"

#include "base/Text.h"

namespace ombru {

using namespace Qt::StringLiterals;
using State = Permission::State;

namespace {

constexpr int NAME_WIDTH = 17; // the longest name and a space
const QString INDENT(NAME_WIDTH + 3, u' ');

State asState(bool works) {
    return works ? State::granted : State::missing;
}

Check describe(const Claude::Unknown &unknown) {
    return {false, u"it gave no usable answer about its sign-in"_s,
            unknown.trouble.isEmpty() ? u"Run `claude auth status` and see what it says."_s : unknown.trouble};
}
Check describe(const Claude::Missing &missing) {
    const auto install = u"Install it: "_s + Claude::installCommand;
    return missing.trouble.isEmpty() ? Check{false, u"it is not installed"_s, install}
                                     : Check{false, u"it cannot be run"_s, missing.trouble};
}
Check describe(const Claude::Outdated &outdated) {
    if (!outdated.trouble.isEmpty())
        return {false, u"it does not work"_s, outdated.trouble};
    return {false, u"it is too old: it does not know "_s + outdated.missing.join(u", "_s), u"Run `claude update`."_s};
}
Check describe(const Claude::SignedOut &) {
    return {false, u"it is not signed in"_s, u"Run `claude auth login`."_s};
}
Check describe(const Claude::Ready &ready) {
    return {true, ready.email.isEmpty() ? u"signed in"_s : u"signed in as "_s + ready.email, {}};
}

QString decision(State state) {
    switch (state) {
    case State::granted:
        return u"allowed"_s;
    case State::missing:
        return u"not allowed"_s;
    case State::unknown:
        return u"not known yet"_s;
    }
    Q_UNREACHABLE();
}

QString allowing(const AutomationApp &application) {
    return u"To let scripts control it: `%1`"_s.arg(AppAutomation::allowingCommand(application.id, application.name));
}

QString allowing(const Permission &permission) {
    if (permission.id == u"automation"_s)
        return allowing(AppAutomation::candidates.front());
    return u"`ombru doctor` says what is in the way, and `ombru-privacy %1` asks for it."_s.arg(
        permission.settingsPane);
}

} // namespace

Finding finding(const QString &name, const Check &check) {
    return {asState(check.works), name, check.what, check.remedy};
}

Check describe(const KeyCombination &stopKey, const Result<> &usable) {
    if (usable)
        return {true, u"%1 stops the running task"_s.arg(stopKey.text()), {}};
    const auto remedy = usable.error().code == STOP_KEY_TAKEN
                            ? u"Choose other keys: `ombru settings stopKey Ctrl+Alt+Pause`"_s
                            : u"`ombru stop` and the icon's menu stop a task."_s;
    return {false, usable.error().description, remedy};
}

Finding finding(const Claude::State &claude) {
    return finding(u"claude"_s, std::visit([](const auto &which) { return describe(which); }, claude));
}

Finding finding(const Permission &permission, State state) {
    QString remedy;
    if (state == State::missing)
        remedy = allowing(permission);
    if (state == State::unknown)
        remedy = u"It could not be asked just now. Look again in a moment."_s;
    return {state, permission.title, decision(state), remedy};
}

Finding finding(Setup setup) {
    return {asState(setup == Setup::done), u"setup"_s, setupText(setup, false), {}};
}

Finding finding(const AutomationApp &application, State state) {
    const auto remedy = state == State::granted ? QString() : allowing(application);
    return {state, application.name, decision(state), remedy};
}

QString undecidedText(const Allowed &allowed) {
    const auto &basis = AppAutomation::candidates.front();
    if (allowed.applications.value(basis.id, State::granted) != State::unknown)
        return {};
    return u"You have not decided about %1 yet: `%2`"_s.arg(basis.name,
                                                            AppAutomation::allowingCommand(basis.id, basis.name));
}

QString claudeStateName(const Claude::State &claude) {
    static_assert(std::variant_size_v<Claude::State> == 5);
    static const QStringList names{u"unknown"_s, u"missing"_s, u"outdated"_s, u"signedOut"_s, u"ready"_s};
    return names.at(qsizetype(claude.index()));
}

void printApplications(Output &output, const Allowed &allowed) {
    for (const auto &[application, state] : allowed.allApplications())
        print(output, finding(application, state));
    if (!allowed.problem.isEmpty())
        print(output, finding(u"decisions"_s, Check{false, u"no script may control anything"_s, allowed.problem}));
}

void print(Output &output, const Finding &finding, const QString &detail) {
    const bool known = finding.state != State::unknown;
    const bool well = finding.state == State::granted;
    const auto mark = well ? u"✓"_s : known ? u"✗"_s : u"?"_s;
    output.print(u"%1 %2 %3"_s.arg(mark, finding.name.leftJustified(NAME_WIDTH), finding.what), well ? Colour::green
                                                                                                : known
                                                                                                    ? Colour::red
                                                                                                    : Colour::yellow);
    if (!detail.isEmpty())
        output.print(INDENT + detail, Colour::dim);
    if (!finding.remedy.isEmpty())
        output.print(INDENT + u"→ "_s + finding.remedy);
}

} // namespace ombru
