#include "app/privacy/PrivacyModel.h"

#include "base/Background.h"
#include "permissions/Allowed.h"
#include "permissions/Permissions.h"
#include "platform/Workspace.h"

#include <QFileInfo>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr auto GLANCE = std::chrono::seconds(1);

// Different whenever a program has written there; reading leaves it as it is.
QString stateOf(const QString &file) {
    const QFileInfo info(file);
    return info.size() == 0 ? QString() : u"%1 %2"_s.arg(info.size()).arg(info.lastModified().toMSecsSinceEpoch());
}

QMap<QString, QString> namesIn(const std::vector<ConsentDecision> &decisions) {
    QMap<QString, QString> names{{ownConsentClient(), u"ombru"_s}};
    for (const auto &decision : decisions) {
        for (const QString &id : {decision.client, decision.application}) {
            const auto name = names.contains(id) || id.startsWith(u'/') ? std::nullopt : applicationName(id);
            if (name)
                names.insert(id, *name);
        }
    }
    return names;
}

} // namespace

struct PrivacyModel::Reading {
    QString state;
    Result<std::vector<DecisionRow>> decisions;
};

PrivacyModel::PrivacyModel(std::function<void()> onChange) : m_onChange(std::move(onChange)) {}

template <class Edit>
void PrivacyModel::edit(Edit edit) {
    const View before = m_view;
    edit(m_view);
    if (!(m_view == before))
        m_onChange();
}

Task<> PrivacyModel::drain() {
    co_await m_tasks.drain();
}

void PrivacyModel::watch() {
    m_tasks.start(keepWatching());
}

Task<> PrivacyModel::keepWatching() {
    const auto stop = m_tasks.token();
    while (!stop.stop_requested()) {
        co_await sleep(GLANCE, stop);
        co_await readDecisions(false);
    }
}

void PrivacyModel::refresh() {
    m_tasks.start(readPermissions());
    m_tasks.start(readDecisions(true));
}

Task<> PrivacyModel::readPermissions() {
    m_permissionsAgain = true;
    if (std::exchange(m_readingPermissions, true))
        co_return;
    while (std::exchange(m_permissionsAgain, false) && !m_tasks.token().stop_requested()) {
        const auto states = co_await lookAtPermissions(m_tasks.token());
        if (!m_tasks.token().stop_requested())
            edit([&](View &view) { view.permissions = states; });
    }
    m_readingPermissions = false;
}

// None when nothing has been written since then.
std::optional<PrivacyModel::Reading> PrivacyModel::read(const QString &knownState) {
    // Looked at first: what is written while we read will be read the next time.
    const auto database = consentDatabase();
    const auto state = u"%1, %2"_s.arg(stateOf(database), stateOf(database + u"-wal"_s));
    if (state == knownState)
        return std::nullopt;
    const auto decisions = consentDecisions();
    if (!decisions)
        return Reading{state, std::unexpected(decisions.error())};
    return Reading{state, decisionRows(*decisions, namesIn(*decisions))};
}

Task<> PrivacyModel::readDecisions(bool anyway) {
    m_decisionsAgain |= anyway;
    if (std::exchange(m_readingDecisions, true))
        co_return;
    do {
        const auto known = std::exchange(m_decisionsAgain, false) ? QString() : m_recordState;
        auto reading = co_await background([known] { return read(known); });
        if (!reading)
            continue;
        m_recordState = reading->state;
        edit([&](View &view) {
            view.decisions = std::move(reading->decisions);
            view.looked = true;
        });
    } while (m_decisionsAgain && !m_tasks.token().stop_requested());
    m_readingDecisions = false;
}

void PrivacyModel::ask(const QString &permission) {
    const auto found = std::ranges::find(Permissions::all, permission, &Permission::id);
    if (found != Permissions::all.end() && !m_view.asking.contains(permission))
        m_tasks.start(request(*found));
}

Task<> PrivacyModel::request(Permission permission) {
    edit([&](View &view) { view.asking.append(permission.id); });
    co_await Permissions::request(permission, m_tasks.token());
    edit([&](View &view) { view.asking.removeAll(permission.id); });
    refresh();
}

void PrivacyModel::allow(const QString &client, const QString &application) {
    offer([client, application] { return offerConsent(client, application); });
}

void PrivacyModel::forget(const QString &client, const QString &application) {
    offer([client, application] { return forgetConsent(client, application); });
}

void PrivacyModel::offer(std::function<Result<bool>()> job) {
    if (!std::exchange(m_offering, true))
        m_tasks.start(await(std::move(job)));
}

Task<> PrivacyModel::await(std::function<Result<bool>()> job) {
    const auto done = co_await backgroundWithin(Permissions::ANSWERING, m_tasks.token(), std::move(job));
    m_offering = false;
    finish(done && !*done ? std::unexpected(done->error()) : Result<>());
}

void PrivacyModel::refuse(const QString &client, const QString &application) {
    m_tasks.start(change([client, application] { return refuseConsent(client, application); }));
}

Task<> PrivacyModel::change(std::function<Result<>()> job) {
    finish(co_await background(std::move(job)));
}

void PrivacyModel::finish(const Result<> &change) {
    edit([&](View &view) { view.failure = change ? QString() : change.error().description; });
    refresh();
}

} // namespace ombru
