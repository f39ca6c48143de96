#include "cloud/Keychain.h"

#include "base/Background.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/Wait.h"

#include <atomic>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::await;
using test::waitUntil;

namespace {

const QString KEY = u"device-token"_s;

class KeychainTest : public testing::Test {
protected:
    KeychainTest() { FakePlatform::reset(); }
    ~KeychainTest() override {
        await(keychain.end(10s));
        EXPECT_TRUE(finishBackground(1min));
    }
    static Guarded<FakeDesktop> &desktop() { return FakePlatform::instance().desktop; }
    static std::map<QString, QString> stored() { return desktop()->secrets; }

    static QStringList errors() {
        QStringList texts;
        for (const auto &entry : FakePlatform::instance().logged)
            if (entry.level == LogLevel::error)
                texts += entry.text;
        return texts;
    }

    Keychain keychain;
};

} // namespace

TEST_F(KeychainTest, KnowsWhatTheStoreHasOnceItIsLoaded) {
    desktop()->secrets[KEY] = u"token"_s;
    EXPECT_EQ(keychain.get(KEY), std::nullopt);
    await(keychain.load(KEY, {}));
    EXPECT_EQ(keychain.get(KEY), u"token"_s);
    EXPECT_EQ(keychain.get(u"another"_s), std::nullopt);
}

TEST_F(KeychainTest, AnswersAtOnceWhatWasSet) {
    keychain.set(KEY, u"first"_s);
    EXPECT_EQ(keychain.get(KEY), u"first"_s);
    keychain.set(KEY, u"second"_s);
    EXPECT_EQ(keychain.get(KEY), u"second"_s);
    EXPECT_TRUE(waitUntil([] { return stored() == std::map<QString, QString>{{KEY, u"second"_s}}; }));
    keychain.set(KEY, std::nullopt);
    EXPECT_EQ(keychain.get(KEY), std::nullopt);
    EXPECT_TRUE(waitUntil([] { return stored().empty(); }));
}

TEST_F(KeychainTest, WhatTheStoreDidNotTakeIsInTheLog) {
    keychain.set(KEY, u"kept"_s);
    await(keychain.written());
    EXPECT_EQ(errors(), QStringList());
    desktop()->keepsSecrets = false;
    keychain.set(KEY, u"lost"_s);
    await(keychain.written());
    EXPECT_EQ(errors(), QStringList{u"The store for secrets has not kept \"device-token\": it is gone with the end of "
                                    "this program."_s});
    EXPECT_EQ(keychain.get(KEY), u"lost"_s);
    keychain.set(KEY, std::nullopt);
    await(keychain.written());
    EXPECT_EQ(errors().size(), 1);
}

TEST_F(KeychainTest, WhatALockedStoreStillHasIsInTheLog) {
    desktop()->secrets[KEY] = u"token"_s;
    desktop()->secretsLocked = true;
    keychain.set(KEY, std::nullopt);
    await(keychain.written());
    EXPECT_EQ(errors(),
              QStringList{u"The store for secrets still has \"device-token\": it is used no more, and deleted "
                          "when it is seen unlocked."_s});
}

TEST_F(KeychainTest, WritesInTheOrderOfTheSets) {
    for (int number = 0; number < 50; ++number)
        keychain.set(KEY, QString::number(number));
    await(keychain.end(1min));
    EXPECT_EQ(stored(), (std::map<QString, QString>{{KEY, u"49"_s}}));
}

TEST_F(KeychainTest, WhatIsSetWhileTheStoreIsReadCounts) {
    const auto gate = std::make_shared<std::atomic<bool>>(false);
    desktop()->secrets[KEY] = u"old"_s;
    desktop()->beforeTellingSecrets = [gate] { gate->wait(false); };
    const auto loaded = std::make_shared<bool>(false);
    const auto loading = test::mark(keychain.load(KEY, {}), loaded);
    keychain.set(KEY, u"new"_s);
    *gate = true;
    gate->notify_all();
    EXPECT_TRUE(waitUntil([&] { return *loaded; }));
    EXPECT_EQ(keychain.get(KEY), u"new"_s);
}

TEST_F(KeychainTest, AStopEndsTheWaitForAnOwnerWhoUnlocksNothing) {
    const auto gate = std::make_shared<std::atomic<bool>>(false);
    desktop()->beforeTellingSecrets = [gate] { gate->wait(false); };
    std::stop_source stop;
    const auto loaded = std::make_shared<bool>(false);
    const auto loading = test::mark(keychain.load(KEY, stop.get_token()), loaded);
    test::settle();
    EXPECT_FALSE(*loaded);
    stop.request_stop();
    EXPECT_TRUE(waitUntil([&] { return *loaded; }));
    EXPECT_EQ(keychain.get(KEY), std::nullopt);
    *gate = true;
    gate->notify_all();
}
