// The application that stays, on a desktop whose keyring is locked at the login: the real keyring, its real prompt.
#include "platform/SecretStore.h"
#include "platform/linux/services/SecretItems.h"
#include "tests/app/ResidentJourney.h"
#include "tests/support/Keyring.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString KEY = u"device-token"_s;
constexpr auto PASSWORD = "key ctrl+a && xdotool type password && xdotool key Return";
constexpr auto PROMPT = "--onlyvisible --class gcr-prompter";

class KeyringJourney : public ResidentJourney {
protected:
    // A computer that signed in before, is started again, and asks its owner to unlock the keyring.
    KeyringJourney() {
        m_environment["DBUS_SESSION_BUS_ADDRESS"] = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        {
            const Keyring keyring(m_keys);
            setSecret(KEY, u"tok"_s);
            EXPECT_TRUE(hasSecret(KEY));
        }
        m_keyring.emplace(m_keys, Keyring::State::asking);
        m_application = startApplication();
        EXPECT_TRUE(asks());
    }

    static bool asks() {
        return waitUntil([] { return succeeds(QByteArray("xdotool search ") + PROMPT); });
    }

    static bool succeeds(const QByteArray &command) {
        return std::system((command + " >/dev/null 2>&1").constData()) == 0;
    }
    // The prompt takes the keyboard a moment after it is there.
    static bool typeUntilAnswered(const QByteArray &keys) {
        const auto isAnswered = [] { return !succeeds(QByteArray("xdotool search ") + PROMPT); };
        return waitUntil([&] { return isAnswered() || (succeeds("xdotool " + keys) && isAnswered()); });
    }
    // The owner leaves the keyring locked, and ends the application.
    void dismissAndEnd() {
        ASSERT_TRUE(typeUntilAnswered("key Escape"));
        ASSERT_TRUE(waitUntil([this] { return status().contains(u"signed out"_s); }));
        kill(SIGTERM);
        ASSERT_EQ(end(m_application).status, 0);
    }
    // Without the application, which asks to unlock the keyring.
    Finished signOut(const QByteArray &keys) {
        const auto command = startProgram(u"ombru"_s, {u"sign-out"_s});
        EXPECT_TRUE(asks());
        EXPECT_TRUE(typeUntilAnswered(keys));
        return end(command);
    }
    QString status() { return end(startProgram(u"ombru"_s, {u"status"_s})).out; }

    QTemporaryDir m_keys;
    std::optional<Keyring> m_keyring;
};

} // namespace

TEST_F(KeyringJourney, IsSignedInOnceItsOwnerHasUnlockedTheKeyring) {
    EXPECT_TRUE(status().contains(u"looking whether it is signed in"_s)) << status().toStdString();
    EXPECT_TRUE(m_service.requests.empty());
    ASSERT_TRUE(typeUntilAnswered(PASSWORD));
    ASSERT_TRUE(connected());
    EXPECT_EQ(m_service.newest().request.header("Authorization"), "Bearer tok");
}

TEST_F(KeyringJourney, IsSignedOutWhenItsOwnerDismissesThePromptAndLosesNothing) {
    ASSERT_TRUE(typeUntilAnswered("key Escape"));
    EXPECT_TRUE(waitUntil([this] { return status().contains(u"signed out"_s); })) << status().toStdString();
    EXPECT_TRUE(m_service.requests.empty());
    kill(SIGTERM);
    EXPECT_EQ(end(m_application).status, 0);
    m_keyring.reset();
    const Keyring keyring(m_keys);
    EXPECT_EQ(secret(KEY), u"tok"_s);
}

TEST_F(KeyringJourney, ASignOutUnlocksTheKeyringAndDeletesWhatItHas) {
    dismissAndEnd();
    EXPECT_EQ(signOut(PASSWORD).status, 0);
    EXPECT_FALSE(hasSecret(KEY));
}

TEST_F(KeyringJourney, ASignOutHoldsWhenItsOwnerLeavesTheKeyringLocked) {
    dismissAndEnd();
    EXPECT_EQ(signOut("key Escape").status, 0);
    EXPECT_TRUE(hasSecret(KEY)) << "it was locked";
    m_keyring.reset();
    const Keyring keyring(m_keys);
    m_application = startApplication();
    EXPECT_TRUE(waitUntil([this] { return status().contains(u"signed out"_s); }));
    EXPECT_TRUE(m_service.requests.empty());
    EXPECT_FALSE(hasSecret(KEY));
}
