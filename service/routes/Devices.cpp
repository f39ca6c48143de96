// What computers ask on their way in, and the page that lets them in.

#include "service/log/Log.h"
#include "service/prompts/Prompts.h"
#include "service/routes/ComputerSettings.h"
#include "service/routes/Handlers.h"

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr double CODE_SECONDS = 15 * 60;
constexpr double POLLED_EVERY = 2; // seconds
constexpr qsizetype LONGEST_NAME = 100;

QByteArray keptCode(const QString &typed) {
    return keptOf(plainCode(typed).toLatin1());
}

QString nameOf(const QJsonObject &body) {
    const auto name = body["name"_L1].toString().simplified().left(LONGEST_NAME);
    return name.isEmpty() ? u"Computer"_s : name;
}

Response unknownCode() {
    return refuse(Refusal::notFound, u"That code is not known, or its time is over."_s);
}

// A code that is guessed is one of a thousand million; so many guesses nobody gets.
std::optional<Response> tooManyGuesses(Service &service, const Asked &asked) {
    const auto wait = service.wrongCodes.wait(QString::number(asked.account.id));
    if (wait <= Clock::Duration::zero())
        return std::nullopt;
    auto response = refuse(Refusal::tooMany, u"That was wrong too often; try again later."_s);
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(wait).count();
    response.headers.emplace_back("Retry-After", QByteArray::number(static_cast<qint64>(seconds)));
    return response;
}

// The one that a computer may have been until now, and whether that one is connected at this moment.
Task<QJsonValue> beforeJson(Service &service, std::optional<ComputerRecord> before) {
    if (!before)
        co_return QJsonValue();
    const auto id = QString::number(before->id);
    const auto all = co_await service.hub->computers(before->account);
    const auto live = std::ranges::find_if(all, [&](const auto &each) { return each["id"_L1].toString() == id; });
    co_return QJsonObject{{u"id"_s, id}, {u"online"_s, live != all.end() && (*live)["online"_L1].toBool()}};
}

} // namespace

// {name} → {device_code, user_code, verify_url, interval}
Task<Response> startDevice(Service &service, Asked asked) {
    const auto deviceCode = newToken();
    const auto userCode = newUserCode();
    const auto now = Clock::unixSeconds();
    const DeviceRequest request{nameOf(asked.body), platformOf(asked.request.header("user-agent")), asked.address, now,
                                now + CODE_SECONDS};
    const auto kept = co_await service.store.ask(
        [device = keptOf(deviceCode), user = keptCode(userCode), request, now](Store &its) -> Result<> {
            if (const auto dropped = its.computers.dropOldRequests(now); !dropped)
                return dropped;
            return its.computers.ask(device, user, request);
        });
    if (!kept)
        co_return failed(kept.error());
    auto page = service.publicURL;
    page.setPath(u"/verify"_s);
    page.setQuery(u"code="_s + userCode);
    co_return answer({{u"device_code"_s, QString::fromLatin1(deviceCode)},
                      {u"user_code"_s, userCode},
                      {u"verify_url"_s, page.toString(QUrl::FullyEncoded)},
                      {u"interval"_s, POLLED_EVERY}});
}

// {device_code} → {status: "pending"}, or "expired", or "ok" with a token
Task<Response> pollDevice(Service &service, Asked asked) {
    const auto token = newToken();
    const auto device = keptOf(asked.body["device_code"_L1].toString().toUtf8());
    const auto look =
        co_await service.store.ask([device, kept = keptOf(token), now = Clock::unixSeconds()](Store &its) {
            return its.computers.look(device, kept, QString::fromLatin1(newToken()), now);
        });
    if (!look)
        co_return failed(look.error());
    if (!*look || (*look)->state == DeviceRequest::State::refused)
        co_return answer({{u"status"_s, u"expired"_s}});
    if (!(*look)->computer)
        co_return answer({{u"status"_s, u"pending"_s}});
    const auto &computer = *(*look)->computer;
    service.hub->signedIn(computer);
    logEvent(u"computer-signed-in", {{u"computer", QString::number(computer.id)}, {u"address", asked.address}});
    co_return answer({{u"status"_s, u"ok"_s}, {u"token"_s, QString::fromLatin1(token)}});
}

// The configuration, by the names that computers know.
Task<Response> deviceConfig(Service &service, Asked asked) {
    struct Found {
        QString email;
        QString callToken;
        ComputerFields fields;
    };
    const auto id = asked.computer.id;
    const auto now = Clock::unixSeconds();
    const auto platform = platformOf(asked.request.header("user-agent"));
    const auto found =
        co_await service.store.ask([computer = asked.computer, now, platform](Store &its) -> Result<Found> {
            const auto email = its.accounts.addressOf(computer.account);
            const auto token = its.computers.callToken(computer.id);
            const auto fields = its.computers.fields(computer.id);
            if (!email || !token || !fields)
                return std::unexpected(!email ? email.error() : !token ? token.error() : fields.error());
            // Not to be able to note it, because the disk is full, keeps no computer from its configuration.
            static_cast<void>(its.computers.fetched(computer.id, now, platform));
            return Found{*email, *token, *fields};
        });
    if (!found) {
        failed(found.error());
        co_return Response{.status = 503, .type = "text/plain", .body = "not now\n"};
    }
    service.hub->fetched(id, now, platform);
    const auto own = textOf(found->fields, ComputerField::systemPrompt);
    co_return answer({{u"email"_s, found->email},
                      {u"trusted"_s, isOn(found->fields, ComputerField::trusted)},
                      {u"system_prompt"_s, own.isEmpty() ? defaultPrompt(platform) : own},
                      {u"ws_token"_s, found->callToken},
                      {u"deepgram_key"_s, textOf(found->fields, ComputerField::speechKey)},
                      {u"greeting"_s, textOf(found->fields, ComputerField::greeting)},
                      {u"tts_model"_s, textOf(found->fields, ComputerField::voice)},
                      {u"share_audio"_s, isOn(found->fields, ComputerField::shareAudio) ? u"on"_s : u"off"_s}});
}

// Who asks behind a code, so that its owner sees whether that is theirs.
// A wrong code counts. So another page, which can send a browser here but not say the token, is not answered.
Task<Response> showDevice(Service &service, Asked asked) {
    if (!sameSecret(asked.request.header("x-csrf-token"), asked.csrf))
        co_return refuse(Refusal::forbidden, u"The request does not come from the page."_s);
    if (auto refused = tooManyGuesses(service, asked))
        co_return *std::move(refused);
    struct Found {
        std::optional<DeviceRequest> request;
        std::optional<ComputerRecord> before;
    };
    const auto code = keptCode(QString::fromUtf8(asked.request.queryItem("code")));
    const auto found = co_await service.store.ask(
        [code, account = asked.account.id, now = Clock::unixSeconds()](Store &its) -> Result<Found> {
            const auto request = its.computers.openRequest(code, now);
            if (!request || !*request)
                return request ? Result<Found>(Found()) : std::unexpected(request.error());
            const auto before = its.computers.before(account, (*request)->name);
            return before ? Result<Found>({*request, *before}) : std::unexpected(before.error());
        });
    if (!found)
        co_return failed(found.error());
    if (!found->request) {
        service.wrongCodes.failed(QString::number(asked.account.id));
        co_return unknownCode();
    }
    const auto &its = *found->request;
    const auto before = co_await beforeJson(service, found->before);
    co_return answer({{u"name"_s, its.name},
                      {u"platform"_s, its.platform},
                      {u"address"_s, its.address},
                      {u"sameAddress"_s, its.address == asked.address},
                      {u"before"_s, before},
                      {u"asked"_s, its.asked},
                      {u"expires"_s, its.expires}});
}

Task<Response> decideDevice(Service &service, Asked asked) {
    if (auto refused = tooManyGuesses(service, asked))
        co_return *std::move(refused);
    const auto code = keptCode(asked.body["code"_L1].toString());
    const bool allow = asked.body["allow"_L1].toBool();
    const auto before = asked.body["before"_L1]; // a new one without it
    const auto computer = before.isString() ? std::optional(before.toString().toLongLong()) : std::nullopt;
    const auto decided = co_await service.store.ask(
        [code, allow, computer, account = asked.account.id, now = Clock::unixSeconds()](Store &its) {
            return its.computers.decide(code, account, allow, now, computer);
        });
    if (!decided)
        co_return failed(decided.error());
    if (!*decided) {
        service.wrongCodes.failed(QString::number(asked.account.id));
        co_return unknownCode();
    }
    if (allow && computer)
        service.hub->revoke(*computer); // as it was until now
    co_return noContent();
}

} // namespace ombru
