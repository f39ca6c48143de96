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
    bool isAsking() const { return markedPrograms().contains(u"ombru-secrets"_s); }
    // What asked the owner went with the application.
    void expectNothingAsks() {
        EXPECT_TRUE(waitUntil([this] { return !isAsking(); }));
        EXPECT_TRUE(waitUntil([] { return !succeeds(QByteArray("xdotool search ") + PROMPT); }));
    }
    QString status() { return end(startProgram(u"ombru"_s, {u"status"_s})).out; }

    QTemporaryDir m_keys;
    std::optional<Keyring> m_keyring;
};

// Where the program that talks with the keyring is missing.
class BrokenInstallation : public ResidentJourney {
protected:
    BrokenInstallation() {
        m_environment["DBUS_SESSION_BUS_ADDRESS"] = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        const QDir installed(m_scratch.path(u"installed"_s));
        EXPECT_TRUE(installed.mkpath(u"."_s));
        for (const QString &name : QDir(bin({})).entryList({u"ombru-*"_s}))
            if (name != u"ombru-secrets"_s)
                EXPECT_TRUE(QFile::link(bin(name), installed.filePath(name)));
        EXPECT_TRUE(QFile::copy(bin(u"ombru"_s), ombru()));
    }

    QString ombru() const { return m_scratch.path(u"installed/ombru"_s); }
    Finished run(const QStringList &words) {
        const auto process = Process::make(
            {.program = ombru(), .arguments = words, .directory = m_scratch.directory(), .environment = m_environment});
        EXPECT_TRUE(process->start());
        return end(process);
    }

    QTemporaryDir m_keys;
    Keyring m_keyring{m_keys};
};

} // namespace

// The owner's keyring is where they belong.
TEST_F(BrokenInstallation, ATokenThatTheKeyringDoesNotGetIsInNoFileInstead) {
    m_poll = R"({"status": "ok", "token": "new"})";
    const auto ended = run({u"sign-in"_s});
    EXPECT_TRUE(ended.out.endsWith(u"signed in as ann@host\n"_s)) << ended.out.toStdString();
    EXPECT_FALSE(QFile::exists(token()));
    EXPECT_FALSE(hasSecret(KEY));
    const auto doctor = run({u"doctor"_s}).out;
    EXPECT_TRUE(doctor.contains(u"The desktop's store has not taken the last change"_s)) << doctor.toStdString();
}

TEST_F(BrokenInstallation, ASignOutHoldsAndTheKeyringIsLeftAsItIs) {
    ASSERT_TRUE(setSecret(KEY, u"tok"_s));
    EXPECT_EQ(run({u"sign-out"_s}).out, u"Signed out.\n"_s);
    EXPECT_EQ(secret(KEY), u"tok"_s) << "this test's own home knows nothing of the sign-out";
    EXPECT_TRUE(QFile::exists(data() + u"/ombru/outdated-secrets/device-token"_s));
}

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

TEST_F(KeyringJourney, NothingOfTheStoresLibrariesStaysInTheApplication) {
    EXPECT_TRUE(isAsking());
    ASSERT_TRUE(typeUntilAnswered(PASSWORD));
    ASSERT_TRUE(connected());
    EXPECT_TRUE(waitUntil([this] { return !isAsking(); }));
    QByteArray mapped;
    for (const qint64 pid : marked())
        if (QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid)).endsWith(u"/ombru"_s))
            mapped += contents(u"/proc/%1/maps"_s.arg(pid));
    EXPECT_TRUE(mapped.contains("libQt6Core"));
    for (const auto *library : {"libsecret", "libgio", "libgobject"})
        EXPECT_FALSE(mapped.contains(library)) << library;
}

TEST_F(KeyringJourney, KilledWhileItsOwnerIsAskedItLeavesNobodyWhoAsks) {
    EXPECT_TRUE(isAsking());
    kill(SIGKILL);
    EXPECT_EQ(end(m_application).status, SIGKILL);
    expectNothingAsks();
}

TEST_F(KeyringJourney, AskedToEndWhileItsOwnerIsAskedItLeavesNobodyWhoAsks) {
    EXPECT_TRUE(isAsking());
    kill(SIGTERM);
    EXPECT_EQ(end(m_application).status, 0);
    expectNothingAsks();
}

TEST_F(KeyringJourney, AStoreWhoseHelperIsKilledIsOneThatHasNothing) {
    for (const qint64 pid : marked())
        if (QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid)).endsWith(u"/ombru-secrets"_s))
            ::kill(static_cast<pid_t>(pid), SIGKILL);
    EXPECT_TRUE(waitUntil([this] { return status().contains(u"signed out"_s); })) << status().toStdString();
    EXPECT_FALSE(isAsking());
    EXPECT_TRUE(hasSecret(KEY));
}
