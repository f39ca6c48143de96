// A controller signed in to, or signing in to, a service that the test plays.
#pragma once
#include "base/Background.h"
#include "controller/AppState.h"
#include "platform/fake/FakePlatform.h"
#include "tests/controller/LoopFixture.h"
#include "tests/support/AccountService.h"

#include <QJsonArray>

namespace ombru::test {

class LinkFixture : public LoopFixture {
protected:
    LinkFixture() {
        // Looking at the tool takes processes, which know nothing of a clock that stands still.
        EXPECT_TRUE(QFile::rename(CLAUDE, CLAUDE + u".away"_s));
        EXPECT_TRUE(state->settings.serverURL.write(service.base()));
        service.answer = [this](const AccountRequest &request) { return answer(request); };
        watched = state->onWillChange([this] {
            Loop::main().post([this] {
                if (auths.isEmpty() || auths.last() != describe(state->auth()))
                    auths.append(describe(state->auth()));
            });
        });
    }
    ~LinkFixture() override {
        await(state->drain());
        watched = {};
        settle();
    }

    AccountReply answer(const AccountRequest &request) {
        const auto path = request.line().split(' ').value(1);
        if (path == "/api/device/start")
            return start;
        if (path != "/api/device/poll")
            return config;
        return polls.size() > 1 ? takePoll() : polls.front();
    }
    AccountReply takePoll() {
        auto first = polls.front();
        polls.erase(polls.begin());
        return first;
    }

    static QString describe(const Auth &auth) {
        if (const auto *pairing = std::get_if<Auth::Pairing>(&auth.state))
            return u"pairing "_s + pairing->userCode + u' ' + pairing->verifyURL.toString();
        if (const auto *in = std::get_if<Auth::SignedIn>(&auth.state))
            return u"in "_s + in->email;
        return auth.is<Auth::Loading>() ? u"loading"_s : u"out"_s;
    }
    QString auth() const { return describe(state->auth()); }
    bool becomes(const QString &wanted) {
        return waitUntil([&] { return auth() == wanted; });
    }

    // Claude's replies to questions, one after the other, each once the file "go" is there if it has to wait; looks at
    // the tool itself are no questions.
    void answerQuestions(const QStringList &texts, bool waitForGo = false) {
        EXPECT_TRUE(QFile::rename(CLAUDE + u".away"_s, CLAUDE));
        for (int number = 1; number <= texts.size(); ++number)
            claude.file(u"reply.%1"_s.arg(number), resultJson(texts[number - 1]));
        claude.playAlways("case $1 in --help|auth) exit 1;; esac\n"
                          "n=$(($(cat \"$d/asked\" 2>/dev/null || echo 0) + 1)); echo $n >\"$d/asked\"\n" +
                          QByteArray(waitForGo ? "while [ ! -e \"$HOME/go\" ]; do sleep 0.01; done\n" : "") +
                          "cat \"$d/reply.$n\"\n");
    }
    void go() { EXPECT_TRUE(QFile(home.filePath(u"go"_s)).open(QFile::WriteOnly)); }
    int questions() const {
        QFile file(home.filePath(u"claude/asked"_s));
        return file.open(QFile::ReadOnly) ? file.readAll().trimmed().toInt() : 0;
    }

    // A computer that signed in before, at its next start.
    void boot(const QString &token = u"tok"_s) {
        FakePlatform::instance().desktop->secrets[u"device-token"_s] = token;
        await(state->boot());
    }
    static std::optional<QString> storedToken() {
        const auto secrets = FakePlatform::instance().desktop->secrets;
        const auto found = secrets.find(u"device-token"_s);
        return found == secrets.end() ? std::nullopt : std::optional(found->second);
    }
    std::size_t requestsFor(const QByteArray &path) const {
        return static_cast<std::size_t>(std::ranges::count_if(service.requests, [&](const AccountRequest &request) {
            return request.line().split(' ').value(1) == path;
        }));
    }
    bool requested(const QByteArray &path, std::size_t times) {
        return waitUntil([&] { return requestsFor(path) == times; });
    }
    // Whatever can happen without a passing of time has happened: replies have come and been taken, waits have begun.
    static void comeToRest() {
        for (int turn = 0; turn < 40; ++turn) { // a look at what is allowed has many steps
            EXPECT_TRUE(waitUntil([] { return backgroundIsIdle(); }));
            settle();
        }
    }
    static AccountReply json(const QByteArray &body) { return {.body = body}; }

    const QString CLAUDE = home.filePath(u".local/bin/claude"_s);
    AccountService service;
    AccountReply start = json(R"({"device_code": "dev", "user_code": "AB-CD", "verify_url": "https://host/verify"})");
    std::vector<AccountReply> polls = {json("{}")}; // the last one again and again
    AccountReply config = json(R"({"email": "ann@host"})");
    QStringList auths; // each that was shown, without repetitions
    Subscription watched;
};

} // namespace ombru::test
