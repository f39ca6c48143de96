// What the owner has decided, and asking for a decision.
#include "permissions/AppAutomation.h"

#include "base/Background.h"
#include "base/SystemEvents.h"
#include "base/Text.h"
#include "permissions/HiddenStart.h"
#include "permissions/Permissions.h"
#include "platform/Consent.h"
#include "platform/Workspace.h"

#include <QRegularExpression>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;
using State = Permission::State;

const std::vector<AutomationApp> AppAutomation::candidates{
    {SYSTEM_EVENTS_ID.toString(), SYSTEM_EVENTS_NAME.toString()},
    {u"com.apple.finder"_s, u"Finder"_s},
    {u"com.apple.Safari"_s, u"Safari"_s},
    {u"com.google.Chrome"_s, u"Google Chrome"_s},
    {u"com.apple.Terminal"_s, u"Terminal"_s},
    {u"com.apple.mail"_s, u"Mail"_s},
    {u"com.apple.MobileSMS"_s, u"Messages"_s},
    {u"com.apple.Notes"_s, u"Notes"_s},
    {u"com.apple.iCal"_s, u"Calendar"_s},
    {u"com.apple.reminders"_s, u"Reminders"_s},
    {u"com.apple.Music"_s, u"Music"_s},
    {u"com.apple.Photos"_s, u"Photos"_s},
    {u"com.apple.Preview"_s, u"Preview"_s},
    {u"com.microsoft.VSCode"_s, u"VS Code"_s},
};

namespace {

State stateOf(std::int32_t code) {
    if (code == AUTOMATION_ALLOWED)
        return State::granted;
    return code == AUTOMATION_REFUSED ? State::missing : State::unknown;
}

} // namespace

size_t AppAutomation::qHash(const Target &target, size_t seed) {
    return qHashMulti(seed, target.id, target.name);
}

std::vector<AutomationApp> AppAutomation::installed() {
    std::vector<AutomationApp> found;
    std::ranges::copy_if(candidates, std::back_inserter(found),
                         [](const auto &application) { return applicationName(application.id).has_value(); });
    return found;
}

std::int32_t AppAutomation::determine(const QString &id, bool ask) {
    return determineAutomation(id, ask);
}

std::optional<QMap<QString, bool>> AppAutomation::tccDecisions() {
    return ownConsentDecisions();
}

QString AppAutomation::allowingCommand(const QString &id, const QString &name) {
    constexpr qsizetype LONGEST_ID = 255;
    static const QRegularExpression bare(u"^\\w[\\w.-]*$"_s, QRegularExpression::UseUnicodePropertiesOption);
    static const QRegularExpression quotable(u"^\\w[\\w.,:;&+()' -]*$"_s,
                                             QRegularExpression::UseUnicodePropertiesOption);
    const auto known = quotable.match(name).hasMatch() ? name : shownLine(id, LONGEST_ID);
    return u"ombru consent allow "_s + (bare.match(known).hasMatch() ? known : u'"' + known + u'"');
}

PermissionStates AppAutomation::states() {
    const auto decisions = tccDecisions();
    PermissionStates states;
    QStringList undecided;
    for (const auto &application : installed()) {
        const auto recorded = consentIdentity(ConsentParty::application, application.id);
        if (decisions && decisions->contains(recorded))
            states[application.id] = decisions->value(recorded) ? State::granted : State::missing;
        else
            undecided.append(application.id);
    }
    const auto codes = determineAutomation(undecided);
    for (std::size_t i = 0; i < codes.size(); ++i)
        states[undecided[qsizetype(i)]] = stateOf(codes[i]);
    return states;
}

std::optional<QString> AppAutomation::displayName(const QString &id) {
    auto name = applicationName(id);
    if (name)
        name->remove(u".app"_s);
    return name;
}

Task<State> AppAutomation::request(QString id, std::stop_token stop) {
    if (co_await canBeStarted(id, stop))
        co_await startHidden(id, stop);
    if (stop.stop_requested())
        co_return State::unknown;
    const auto code = co_await backgroundWithin(Permissions::ANSWERING, stop, [id] { return determine(id, true); });
    co_return code ? stateOf(*code) : State::unknown;
}

} // namespace ombru
