// Who is signed in, and how one gets in and out.

#include "base/Background.h"
#include "service/log/Log.h"
#include "service/routes/Handlers.h"
#include "service/secrets/AccountRules.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr double SESSION_SECONDS = 30.0 * 24 * 3600;
constexpr double BROWSER_SECONDS = 365.0 * 24 * 3600;

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

QByteArray setCookie(const Service &service, const char *name, const QByteArray &value, const char *where,
                     double seconds) {
    return name + ('=' + value) + "; " + where +
           "; HttpOnly; Max-Age=" + QByteArray::number(static_cast<qint64>(seconds)) +
           (service.isSecure() ? "; Secure" : "");
}

// `browser`: its token, when the account knows it; empty for one that it does not know yet.
Task<Response> openSession(Service &service, Account account, QByteArray browser) {
    const auto token = newToken();
    const auto known = browser.isEmpty() ? newToken() : browser;
    const auto now = Clock::unixSeconds();
    const auto begun = co_await service.store.ask(
        [kept = keptOf(token), keptBrowser = keptOf(known), id = account.id, now](Store &its) -> Result<> {
            if (const auto remembered = its.accounts.rememberBrowser(keptBrowser, id, now); !remembered)
                return remembered;
            return its.accounts.beginSession(kept, id, now, now + SESSION_SECONDS);
        });
    if (!begun)
        co_return failed(begun.error());
    auto response = answer(me(account, csrfOf(token), false));
    response.headers.emplace_back("Set-Cookie",
                                  setCookie(service, "ombru_session", token, "Path=/; SameSite=Lax", SESSION_SECONDS));
    response.headers.emplace_back("Set-Cookie", setCookie(service, "ombru_browser", known,
                                                          "Path=/api/sign-in; SameSite=Strict", BROWSER_SECONDS));
    co_return response;
}

// What counts a wrong password, and for whom.
struct Counted {
    Attempts *attempts;
    QString who;
};

std::vector<Counted> countedFor(Service &service, const QByteArray &knownBrowser, const QString &who,
                                const QString &network) {
    if (!knownBrowser.isEmpty())
        return {{&service.wrongInBrowser, QString::fromLatin1(keptOf(knownBrowser).toHex())}};
    return {{&service.wrongAtAccount, network + u' ' + who},
            {&service.wrongAnywhere, who},
            {&service.wrongFromAddress, network}};
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
    co_return co_await openSession(service, **account, {});
}

Task<Response> signIn(Service &service, Asked asked) {
    if (auto refused = refusalOfForm(asked))
        co_return *std::move(refused);
    struct Found {
        std::optional<AccountSecret> secret;
        bool knowsBrowser = false;
    };
    const auto email = asked.body["email"_L1].toString().trimmed();
    const auto browser = asked.request.cookie("ombru_browser");
    const auto found = co_await service.store.ask([email, kept = keptOf(browser)](Store &its) -> Result<Found> {
        const auto secret = its.accounts.find(email);
        const auto known = secret && *secret ? its.accounts.knowsBrowser(kept, (*secret)->account.id) : false;
        if (!secret || !known)
            return std::unexpected(!secret ? secret.error() : known.error());
        return Found{*secret, *known};
    });
    if (!found)
        co_return failed(found.error());
    const auto &[secret, knowsBrowser] = *found;
    const auto counted =
        countedFor(service, knowsBrowser ? browser : QByteArray(), email.toLower(), networkOf(asked.address));
    for (const auto &[attempts, who] : counted)
        if (const auto wait = attempts->wait(who); wait > Clock::Duration::zero())
            co_return tooMany(wait);
    for (const auto &[attempts, who] : counted) // before the work, so that many at once are no way around it
        attempts->failed(who);
    const bool fits = co_await background(
        [password = asked.body["password"_L1].toString().left(LONGEST_PASSWORD),
         hashed = secret ? secret->password : QByteArray()] { return isPassword(password, hashed); });
    if (!fits)
        co_return wrong(u"The address or the password is wrong."_s,
                        counted.front().attempts->left(counted.front().who));
    for (const auto &[attempts, who] : counted)
        attempts->succeeded(who);
    logEvent(u"signed-in", {{u"account", QString::number(secret->account.id)}, {u"address", asked.address}});
    co_return co_await openSession(service, secret->account, knowsBrowser ? browser : QByteArray());
}

Task<Response> signOut(Service &service, Asked asked) {
    const auto ended =
        co_await service.store.ask([session = asked.session](Store &its) { return its.accounts.endSession(session); });
    if (!ended)
        co_return failed(ended.error());
    service.hub->sessionEnded(asked.session);
    auto response = noContent();
    response.headers.emplace_back("Set-Cookie", "ombru_session=; Path=/; HttpOnly; SameSite=Lax; Max-Age=0");
    if (service.isSecure()) // elsewhere a browser takes no notice of it, and says so
        response.headers.emplace_back("Clear-Site-Data", "\"cache\"");
    co_return response;
}

} // namespace ombru
