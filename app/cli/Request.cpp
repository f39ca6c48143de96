#include "app/cli/Request.h"

#include <QStringList>

#include <array>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

std::optional<QString> text(const QJsonObject &object, QLatin1StringView key) {
    const auto value = object[key];
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

void put(QJsonObject &object, QLatin1StringView key, const std::optional<QString> &value) {
    if (value)
        object[key] = *value;
}

const QStringList &conversations() { // in the order of the type
    static const QStringList names{u"usual"_s, u"fresh"_s, u"last"_s};
    return names;
}

QJsonObject details(const RunOptions &options) {
    QJsonObject object{{u"task"_s, options.task}, {u"detach"_s, options.detach}, {u"display"_s, options.display}};
    object[u"json"_s] = options.json;
    object[u"conversation"_s] = conversations().at(static_cast<int>(options.conversation));
    put(object, "model"_L1, options.model);
    put(object, "maxSteps"_L1, options.maxSteps);
    return object;
}
QJsonObject details(const StatusOptions &options) {
    return {{u"json"_s, options.json}};
}
QJsonObject details(const SignInOptions &options) {
    QJsonObject object;
    put(object, "server"_L1, options.server);
    return object;
}
QJsonObject details(const ShareAudioOptions &options) {
    return {{u"on"_s, options.on}};
}
QJsonObject details(const PanelOptions &options) {
    return {{u"again"_s, options.again}};
}
QJsonObject details(const LogOptions &options) {
    return {{u"follow"_s, options.follow}};
}
template <class Other>
QJsonObject details(const Other &) {
    return {};
}

std::optional<AppRequest> readRun(const QJsonObject &object) {
    const auto task = text(object, "task"_L1);
    const auto conversation = conversations().indexOf(object["conversation"_L1].toString(u"usual"_s));
    if (!task || task->trimmed().isEmpty() || conversation < 0)
        return {};
    return RunOptions{.task = *task,
                      .model = text(object, "model"_L1),
                      .maxSteps = text(object, "maxSteps"_L1),
                      .json = object["json"_L1].toBool(),
                      .conversation = static_cast<RunOptions::Conversation>(conversation),
                      .detach = object["detach"_L1].toBool(),
                      .display = object["display"_L1].toString()};
}

struct Verb {
    QString name;
    std::optional<AppRequest> (*read)(const QJsonObject &object);
};

// In the order of the variant.
const std::array<Verb, std::variant_size_v<AppRequest>> &verbs() {
    static const std::array<Verb, std::variant_size_v<AppRequest>> table{{
        {u"run"_s, readRun},
        {u"status"_s,
         [](const QJsonObject &object) -> std::optional<AppRequest> {
             return StatusOptions{object["json"_L1].toBool()};
         }},
        {u"test-claude"_s, [](const QJsonObject &) -> std::optional<AppRequest> { return TestClaudeOptions{}; }},
        {u"sign-in"_s,
         [](const QJsonObject &object) -> std::optional<AppRequest> {
             return SignInOptions{text(object, "server"_L1)};
         }},
        {u"sign-out"_s, [](const QJsonObject &) -> std::optional<AppRequest> { return SignOutOptions{}; }},
        {u"stop"_s, [](const QJsonObject &) -> std::optional<AppRequest> { return StopOptions{}; }},
        {u"new-session"_s, [](const QJsonObject &) -> std::optional<AppRequest> { return NewSessionOptions{}; }},
        {u"share-audio"_s,
         [](const QJsonObject &object) -> std::optional<AppRequest> {
             const auto on = object["on"_L1];
             return on.isBool() ? std::optional<AppRequest>(ShareAudioOptions{on.toBool()}) : std::nullopt;
         }},
        {u"log"_s,
         [](const QJsonObject &object) -> std::optional<AppRequest> {
             return LogOptions{.follow = object["follow"_L1].toBool()};
         }},
        {u"call-access"_s, [](const QJsonObject &) -> std::optional<AppRequest> { return CallAccessOptions{}; }},
        {u"panel"_s,
         [](const QJsonObject &object) -> std::optional<AppRequest> {
             return PanelOptions{.again = object["again"_L1].toBool()};
         }},
    }};
    return table;
}

} // namespace

QJsonObject request(const AppRequest &options) {
    auto object = std::visit([](const auto &which) { return details(which); }, options);
    object[u"do"_s] = verbs()[options.index()].name;
    return object;
}

std::optional<AppRequest> requested(const QJsonObject &object) {
    const auto verb = std::ranges::find(verbs(), object["do"_L1].toString(), &Verb::name);
    return verb == verbs().end() ? std::nullopt : verb->read(object);
}

} // namespace ombru
