// Who is signed in, and how one gets in and out.

#include "base/Background.h"
#include "service/log/Log.h"
#include "service/routes/Handlers.h"
#include "service/secrets/AccountRules.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr double SESSION_SECONDS = 30.0 * 24 * 3600;

QJsonObject me(const std::optional<Account> &account, const QByteArray &csrf, bool firstVisit) {
    return {{u"account"_s,
             account ? QJsonValue(QJsonObject{{u"id"_s, QString::number(account->id)}, {u"email"_s, account->email}})
                     : QJsonValue()},
            {u"csrf"_s, QString::fromLatin1(csrf)},
            {u"firstVisit"_s, firstVisit}};
}

// A browser sends such a request for another page only after asking, and is not let.
std::optional<Response> refusalOfForm(const Asked &asked) {
    if (!asked.request.header("content-type").startsWith("application/json") ||
        asked.request.header("origin").isEmpty())
        return refuse(Refusal::forbidden, u"The request does not come from the page."_s);
    return std::nullopt;
}

Response wrong(const QString &message, int attemptsLeft) {
    return refuse(Refusal::wrong, message, {{u"attemptsLeft"_s, attemptsLeft}});
}

Response tooMany(Clock::Duration wait) {
    auto response = refuse(Refusal::tooMany, u"That was wrong too often; try again later."_s);
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(wait).count();
    response.headers.emplace_back("Retry-After", QByteArray::number(static_cast<qint64>(seconds)));
    return response;
}

Task<Response> openSession(Service &service, Account account) {
    const auto token = newToken();
    const auto now = Clock::unixSeconds();
    const auto begun = co_await service.store.ask([kept = keptOf(token), id = account.id, now](Store &its) {
        return its.accounts.beginSession(kept, id, now, now + SESSION_SECONDS);
    });
    if (!begun)
        co_return failed(begun.error());
    auto response = answer(me(account, csrfOf(token), false));
    response.headers.emplace_back("Set-Cookie", "ombru_session=" + token +
                                                    "; Path=/; HttpOnly; SameSite=Lax; Max-Age=" +
                                                    QByteArray::number(static_cast<qint64>(SESSION_SECONDS)) +
                                                    (service.isSecure() ? "; Secure" : ""));
    co_return response;
}

} // namespace

Task<Response> showMe(Service &service, Asked asked) {
    if (!asked.session.isEmpty())
        co_return answer(me(asked.account, asked.csrf, false));
    const auto empty = co_await service.store.ask([](Store &its) { return its.accounts.isEmpty(); });
    if (!empty)
        co_return failed(empty.error());
    co_return answer(me({}, {}, *empty));
}

Task<Response> firstVisit(Service &service, Asked asked) {
    if (auto refused = refusalOfForm(asked))
        co_return *std::move(refused);
    const auto network = networkOf(asked.address);
    if (const auto wait = service.wrongFromAddress.wait(network); wait > Clock::Duration::zero())
        co_return tooMany(wait);
    const auto empty = co_await service.store.ask([](Store &its) { return its.accounts.isEmpty(); });
    if (!empty)
        co_return failed(empty.error());
    if (!*empty)
        co_return refuse(Refusal::conflict, u"There is an account already: sign in."_s);
    const auto code = plainCode(asked.body["code"_L1].toString()).toLatin1();
    if (service.visitCode.isEmpty() || !sameSecret(code, plainCode(service.visitCode).toLatin1())) {
        service.wrongFromAddress.failed(network);
        co_return wrong(u"That is not the code on the terminal."_s, service.wrongFromAddress.left(network));
    }
    const auto email = asked.body["email"_L1].toString().trimmed();
    const auto password = asked.body["password"_L1].toString();
    if (const auto unfit = unfitAddress(email))
        co_return refuse(Refusal::badRequest, *unfit);
    if (const auto unfit = unfitPassword(password))
        co_return refuse(Refusal::badRequest, *unfit);
    const auto hashed =
        co_await background([password, cost = service.passwordCost] { return hashedPassword(password, cost); });
    if (hashed.isEmpty())
        co_return failed(Failure{u"password"_s, 1, u"there is not enough memory to keep a password"_s});
    const auto account = co_await service.store.ask(
        [email, hashed, now = Clock::unixSeconds()](Store &its) { return its.accounts.addFirst(email, hashed, now); });
    if (!account)
        co_return failed(account.error());
    if (!*account)
        co_return refuse(Refusal::conflict, u"There is an account already: sign in."_s);
    service.visitCode.clear();
    logEvent(u"first-account", {{u"account", QString::number((*account)->id)}, {u"address", asked.address}});
    co_return co_await openSession(service, **account);
}

Task<Response> signIn(Service &service, Asked asked) {
    if (auto refused = refusalOfForm(asked))
        co_return *std::move(refused);
    const auto email = asked.body["email"_L1].toString().trimmed();
    const auto who = email.toLower();
    const auto network = networkOf(asked.address);
    const auto here = network + u' ' + who;
    const auto wait = std::max(
        {service.wrongAtAccount.wait(here), service.wrongAnywhere.wait(who), service.wrongFromAddress.wait(network)});
    if (wait > Clock::Duration::zero())
        co_return tooMany(wait);
    // Counted before the work, so that many at once are no way around it.
    service.wrongAtAccount.failed(here);
    service.wrongAnywhere.failed(who);
    service.wrongFromAddress.failed(network);
    const auto secret = co_await service.store.ask([email](Store &its) { return its.accounts.find(email); });
    if (!secret)
        co_return failed(secret.error());
    const bool fits = co_await background(
        [password = asked.body["password"_L1].toString().left(LONGEST_PASSWORD),
         hashed = *secret ? (*secret)->password : QByteArray()] { return isPassword(password, hashed); });
    if (!fits)
        co_return wrong(u"The address or the password is wrong."_s, service.wrongAtAccount.left(here));
    service.wrongAtAccount.succeeded(here);
    service.wrongAnywhere.succeeded(who);
    service.wrongFromAddress.succeeded(network);
    logEvent(u"signed-in", {{u"account", QString::number((*secret)->account.id)}, {u"address", asked.address}});
    co_return co_await openSession(service, (*secret)->account);
}

Task<Response> signOut(Service &service, Asked asked) {
    const auto ended =
        co_await service.store.ask([session = asked.session](Store &its) { return its.accounts.endSession(session); });
    if (!ended)
        co_return failed(ended.error());
    service.hub->sessionEnded(asked.session);
    auto response = noContent();
    response.headers.emplace_back("Set-Cookie", "ombru_session=; Path=/; HttpOnly; SameSite=Lax; Max-Age=0");
    co_return response;
}

} // namespace ombru
