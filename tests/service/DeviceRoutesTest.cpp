#include "cloud/CloudConfig.h"
#include "tests/service/ServiceFixture.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class DeviceRoutesTest : public ServiceFixture {
protected:
    // The one that who asks may have been, as the page is told of it.
    QJsonObject before(const Pairing &pairing, const Browser &browser) {
        return get(u"/api/verify?code="_s + pairing.userCode, browser).json()[u"before"_s].toObject();
    }
};

TEST_F(DeviceRoutesTest, AComputerIsSignedInOnceItsCodeIsAllowed) {
    const auto browser = visitFirst();
    const auto pairing = startPairing();
    EXPECT_TRUE(QRegularExpression(u"^[A-Z]{4}-[0-9]{4}$"_s).match(pairing.userCode).hasMatch());
    EXPECT_EQ(poll(pairing)[u"status"_s].toString(), u"pending"_s);

    const auto shown = get(u"/api/verify?code="_s + pairing.userCode, browser).json();
    EXPECT_EQ(shown[u"name"_s].toString(), u"workshop"_s);
    EXPECT_EQ(shown[u"platform"_s].toString(), u"linux"_s);
    EXPECT_TRUE(shown[u"sameAddress"_s].toBool());
    EXPECT_EQ(shown[u"expires"_s].toDouble() - shown[u"asked"_s].toDouble(), 900);

    EXPECT_EQ(post(u"/api/verify"_s, {{u"code"_s, pairing.userCode.toLower()}, {u"allow"_s, true}}, browser).status,
              204);
    const auto signedIn = poll(pairing);
    EXPECT_EQ(signedIn[u"status"_s].toString(), u"ok"_s);
    EXPECT_EQ(config(signedIn[u"token"_s].toString().toLatin1()).status, 200);
}

TEST_F(DeviceRoutesTest, OneThatWasHereBeforeIsItAgainIfItsOwnerSaysSo) {
    const auto browser = visitFirst();
    const auto first = pair(browser);
    const auto computer = firstComputer(browser);
    send("PUT", u"/api/computers/%1/settings"_s.arg(computer), {{u"greeting"_s, u"Hello?"_s}}, browser);
    EXPECT_EQ(config(first).status, 200);
    const auto channel = agent(first);
    ASSERT_TRUE(channel->opens());
    const auto pairing = startPairing();
    EXPECT_EQ(before(pairing, browser), (QJsonObject{{u"id"_s, computer}, {u"online"_s, true}}));
    EXPECT_EQ(
        post(u"/api/verify"_s, {{u"code"_s, pairing.userCode}, {u"allow"_s, true}, {u"before"_s, computer}}, browser)
            .status,
        204);
    EXPECT_TRUE(channel->closes()) << "its token of before counts no more";
    EXPECT_EQ(config(first).status, 401);
    const auto lost = poll(pairing)[u"token"_s].toString().toLatin1();
    const auto token = poll(pairing)[u"token"_s].toString().toLatin1();
    EXPECT_EQ(config(lost).status, 401);
    EXPECT_EQ(config(token).json()[u"greeting"_s].toString(), u"Hello?"_s);
    const auto computers = get(u"/api/computers"_s, browser).json()[u"computers"_s].toArray();
    EXPECT_EQ(computers.size(), 1);
    EXPECT_FALSE(computers[0][u"revoked"_s].toBool());
    const auto again = agent(token);
    EXPECT_TRUE(again->opens());
    const auto page = this->page(browser);
    page->send(watch(computer));
    page->next(u"caughtUp"_s);
    again->send(event(u"said"_s, u"back"_s));
    EXPECT_EQ(page->next(u"items"_s)[u"items"_s][0][u"text"_s].toString(), u"back"_s);
}

TEST_F(DeviceRoutesTest, OneThatWasRevokedMayBeItAgain) {
    const auto browser = visitFirst();
    pair(browser);
    const auto computer = firstComputer(browser);
    send("DELETE", u"/api/computers/"_s + computer, {}, browser);
    const auto pairing = startPairing();
    EXPECT_EQ(before(pairing, browser), (QJsonObject{{u"id"_s, computer}, {u"online"_s, false}}));
    post(u"/api/verify"_s, {{u"code"_s, pairing.userCode}, {u"allow"_s, true}, {u"before"_s, computer}}, browser);
    const auto token = poll(pairing)[u"token"_s].toString().toLatin1();
    EXPECT_TRUE(agent(token)->opens());
    EXPECT_FALSE(get(u"/api/computers"_s, browser).json()[u"computers"_s][0][u"revoked"_s].toBool());
}

TEST_F(DeviceRoutesTest, NobodyBecomesAnotherAccountsComputer) {
    const auto owner = visitFirst();
    const auto token = pair(owner);
    const auto stranger = addUser(u"stranger@example.org"_s);
    const auto pairing = startPairing();
    EXPECT_TRUE(get(u"/api/verify?code="_s + pairing.userCode, stranger).json()[u"before"_s].isNull());
    EXPECT_EQ(post(u"/api/verify"_s,
                   {{u"code"_s, pairing.userCode}, {u"allow"_s, true}, {u"before"_s, firstComputer(owner)}}, stranger)
                  .status,
              404);
    EXPECT_EQ(poll(pairing)[u"status"_s].toString(), u"pending"_s);
    EXPECT_EQ(config(token).status, 200);
}

TEST_F(DeviceRoutesTest, TheVerificationPageIsOfThePublicAddress) {
    const auto json = ask(u"/api/device/start"_s, {{u"name"_s, u"x"_s}}).json();
    EXPECT_EQ(json[u"verify_url"_s].toString(),
              u"http://localhost:%1/verify?code=%2"_s.arg(server->port()).arg(json[u"user_code"_s].toString()));
    EXPECT_EQ(json[u"interval"_s].toDouble(), 2);
}

TEST_F(DeviceRoutesTest, TheServicesAddressMayEndWithASlash) {
    EXPECT_EQ(ask(u"//api/device/start"_s, {{u"name"_s, u"x"_s}}).status, 200);
}

TEST_F(DeviceRoutesTest, WhatAComputerAsksForInVainIsNoConfiguration) {
    const auto answer = get(u"/api/device/nothing"_s, Browser{});
    EXPECT_EQ(answer.status, 404);
    EXPECT_TRUE(answer.json().isEmpty()) << "it would take any object for one";
}

TEST_F(DeviceRoutesTest, ARefusedComputerHearsThatItsCodeIsOver) {
    const auto browser = visitFirst();
    const auto pairing = startPairing();
    post(u"/api/verify"_s, {{u"code"_s, pairing.userCode}, {u"allow"_s, false}}, browser);
    EXPECT_EQ(poll(pairing)[u"status"_s].toString(), u"expired"_s);
    EXPECT_EQ(get(u"/api/computers"_s, browser).json()[u"computers"_s].toArray().size(), 0);
}

TEST_F(DeviceRoutesTest, AnAnswerThatGotLostIsGivenAgainUntilTheTokenIsUsed) {
    const auto browser = visitFirst();
    const auto pairing = startPairing();
    post(u"/api/verify"_s, {{u"code"_s, pairing.userCode}, {u"allow"_s, true}}, browser);
    const auto lost = poll(pairing)[u"token"_s].toString().toLatin1();
    const auto token = poll(pairing)[u"token"_s].toString().toLatin1();
    EXPECT_EQ(config(lost).status, 401);
    EXPECT_EQ(config(token).status, 200);
    EXPECT_EQ(poll(pairing)[u"status"_s].toString(), u"expired"_s);
    EXPECT_EQ(get(u"/api/computers"_s, browser).json()[u"computers"_s].toArray().size(), 1);
}

TEST_F(DeviceRoutesTest, CodesCannotBeGuessed) {
    const auto browser = visitFirst();
    const auto pairing = startPairing();
    for (int guess = 0; guess < 10; ++guess)
        EXPECT_EQ(get(u"/api/verify?code=BBBB-000%1"_s.arg(guess), browser).code(), u"notFound"_s);
    EXPECT_EQ(get(u"/api/verify?code="_s + pairing.userCode, browser).code(), u"tooMany"_s);
    EXPECT_EQ(post(u"/api/verify"_s, {{u"code"_s, pairing.userCode}, {u"allow"_s, true}}, browser).code(),
              u"tooMany"_s);
}

TEST_F(DeviceRoutesTest, AnotherPageCannotUseUpTheGuesses) {
    const auto browser = visitFirst();
    const auto pairing = startPairing();
    for (int visit = 0; visit < 12; ++visit) // a link that is followed brings the cookie, and no token
        EXPECT_EQ(request("GET", u"/api/verify?code=BBBB-0000"_s, {{"Cookie", browser.cookie}}).code(), u"forbidden"_s);
    EXPECT_EQ(get(u"/api/verify?code="_s + pairing.userCode, browser).status, 200);
}

TEST_F(DeviceRoutesTest, TheConfigurationIsWhatAComputerReads) {
    const auto browser = visitFirst();
    const auto token = pair(browser);
    const auto first = CloudConfig::from(config(token).json());
    EXPECT_EQ(first.email, u"owner@example.org"_s);
    EXPECT_FALSE(first.trusted);
    EXPECT_TRUE(first.shareAudio);
    EXPECT_EQ(first.greeting, u"Hey, what can I help you with?"_s);
    EXPECT_EQ(first.ttsModel, u"aura-2-thalia-en"_s);
    EXPECT_TRUE(first.wsToken.size() > 20);

    const auto path = u"/api/computers/%1/settings"_s.arg(firstComputer(browser));
    const auto saved = send("PUT", path,
                            {{u"systemPrompt"_s, u"Be kind."_s},
                             {u"greeting"_s, u"Hello?"_s},
                             {u"voice"_s, u"aura-2-zeus-en"_s},
                             {u"speechKey"_s, u"the key"_s},
                             {u"trusted"_s, true},
                             {u"shareAudio"_s, false}},
                            browser);
    EXPECT_EQ(saved.status, 200) << saved.body.toStdString();
    EXPECT_TRUE(saved.json()[u"speechKeySet"_s].toBool());
    EXPECT_FALSE(saved.body.contains("the key"));
    const auto then = CloudConfig::from(config(token).json());
    EXPECT_EQ(then.systemPrompt, u"Be kind."_s);
    EXPECT_EQ(then.greeting, u"Hello?"_s);
    EXPECT_EQ(then.ttsModel, u"aura-2-zeus-en"_s);
    EXPECT_EQ(then.deepgramKey, u"the key"_s);
    EXPECT_TRUE(then.trusted);
    EXPECT_FALSE(then.shareAudio);
    EXPECT_EQ(then.wsToken, first.wsToken);
}

TEST_F(DeviceRoutesTest, ASettingSaysWhenItWasSavedAndWhenTheComputerAskedLast) {
    const auto browser = visitFirst();
    const auto token = pair(browser);
    const auto path = u"/api/computers/%1/settings"_s.arg(firstComputer(browser));
    EXPECT_TRUE(get(path, browser).json()[u"fetchedAt"_s].isNull());
    const auto saved = send("PUT", path, {{u"greeting"_s, u"Hello?"_s}}, browser).json();
    EXPECT_GT(saved[u"savedAt"_s][u"greeting"_s].toDouble(), 0);
    EXPECT_TRUE(saved[u"savedAt"_s][u"voice"_s].isNull());
    config(token);
    EXPECT_GE(get(path, browser).json()[u"fetchedAt"_s].toDouble(), saved[u"savedAt"_s][u"greeting"_s].toDouble());
}

TEST_F(DeviceRoutesTest, ASettingSaysSinceWhenItIsAtTheComputer) {
    const auto browser = visitFirst();
    const auto token = pair(browser);
    const auto path = u"/api/computers/%1/settings"_s.arg(firstComputer(browser));
    const auto arrived = [&] { return get(path, browser).json()[u"arrivedAt"_s][u"greeting"_s]; };
    const auto save = [&](const QString &greeting) { send("PUT", path, {{u"greeting"_s, greeting}}, browser); };
    save(u"Hello?"_s);
    EXPECT_TRUE(arrived().isNull());
    config(token);
    const auto first = arrived().toDouble();
    EXPECT_GT(first, 0);
    config(token);
    EXPECT_EQ(arrived().toDouble(), first) << "it is there since then";
    save(u"Yes?"_s);
    EXPECT_TRUE(arrived().isNull());
    config(token);
    EXPECT_GT(arrived().toDouble(), first);
}

TEST_F(DeviceRoutesTest, ASettingOfTheWrongKindChangesNothing) {
    const auto browser = visitFirst();
    pair(browser);
    const auto path = u"/api/computers/%1/settings"_s.arg(firstComputer(browser));
    const auto refused = send("PUT", path, {{u"greeting"_s, u"Hello?"_s}, {u"trusted"_s, u"yes"_s}}, browser);
    EXPECT_EQ(refused.code(), u"badRequest"_s);
    EXPECT_EQ(get(path, browser).json()[u"greeting"_s].toString(), u"Hey, what can I help you with?"_s);
}

TEST_F(DeviceRoutesTest, AnEmptiedSystemPromptIsSentAsThatOfTheSystem) {
    const auto browser = visitFirst();
    const auto token = pair(browser);
    const auto path = u"/api/computers/%1/settings"_s.arg(firstComputer(browser));
    send("PUT", path, {{u"systemPrompt"_s, u"Be kind."_s}}, browser);
    send("PUT", path, {{u"systemPrompt"_s, QString()}}, browser);
    const auto prompt = config(token).json()[u"system_prompt"_s].toString();
    EXPECT_EQ(prompt, get(path, browser).json()[u"defaultPrompt"_s].toString());
    EXPECT_TRUE(prompt.contains(u"Linux"_s) && prompt.contains(u"DONE:"_s));
}

TEST_F(DeviceRoutesTest, ARevokedComputerIsSignedOutAndItsChannelClosed) {
    const auto browser = visitFirst();
    const auto token = pair(browser);
    const auto agent = this->agent(token);
    ASSERT_TRUE(agent->opens());
    EXPECT_EQ(send("DELETE", u"/api/computers/"_s + firstComputer(browser), {}, browser).status, 204);
    EXPECT_TRUE(agent->closes());
    EXPECT_EQ(config(token).status, 401);
    EXPECT_FALSE(this->agent(token)->opens());
    EXPECT_TRUE(get(u"/api/computers"_s, browser).json()[u"computers"_s][0][u"revoked"_s].toBool());
}

TEST_F(DeviceRoutesTest, ABadTokenIsRefusedBeforeTheSocketIsOne) {
    EXPECT_EQ(config("no token").status, 401);
    EXPECT_EQ(request("GET", u"/agent"_s, {}).status, 401);
    EXPECT_FALSE(agent("no token")->opens());
}

// A computer takes every JSON object for its configuration.
TEST_F(DeviceRoutesTest, ARefusedConfigurationIsNoJsonObject) {
    EXPECT_TRUE(QJsonDocument::fromJson(config("no token").body).isNull());
}

TEST_F(DeviceRoutesTest, AHouseholdWithARevokedComputerIsNotLockedOut) {
    const auto browser = visitFirst();
    const auto token = pair(browser);
    for (int knock = 0; knock < 200; ++knock)
        ASSERT_EQ(config("revoked long ago").status, 401);
    EXPECT_EQ(config(token).status, 200);
    EXPECT_EQ(signIn(u"owner@example.org"_s).status, 200);
}

TEST_F(DeviceRoutesTest, AnotherAccountsComputerIsLikeNone) {
    const auto owner = visitFirst();
    const auto token = pair(owner);
    const auto computer = firstComputer(owner);
    const auto stranger = addUser(u"stranger@example.org"_s);
    EXPECT_EQ(get(u"/api/computers"_s, stranger).json()[u"computers"_s].toArray().size(), 0);
    const auto path = u"/api/computers/"_s + computer;
    EXPECT_EQ(get(path + u"/settings"_s, stranger).code(), u"notFound"_s);
    EXPECT_EQ(get(path + u"/tasks"_s, stranger).code(), u"notFound"_s);
    EXPECT_EQ(send("PUT", path + u"/settings"_s, {{u"trusted"_s, true}}, stranger).code(), u"notFound"_s);
    EXPECT_EQ(send("DELETE", path, {}, stranger).code(), u"notFound"_s);
    EXPECT_EQ(send("DELETE", path + u"/history"_s, {}, stranger).code(), u"notFound"_s);
    EXPECT_EQ(config(token).status, 200);
}

} // namespace
