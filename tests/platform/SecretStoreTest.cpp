// Secrets in the real keyring daemon, on a bus of the test's own.

#include "platform/SecretStore.h"

#include "platform/linux/services/SecretItems.h"
#include "tests/support/Keyring.h"
#include "tests/support/Processes.h"
#include "tests/support/SessionBus.h"

#include <csignal>
#include <cstdio>
#include <thread>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString KEY = u"device-token"_s;
constexpr std::chrono::milliseconds SHORTLY(200);

// What a command writes to its output.
QByteArray output(const char *command) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> pipe(popen(command, "r"), pclose);
    QByteArray all;
    char buffer[256];
    while (const auto count = std::fread(buffer, 1, sizeof buffer, pipe.get()))
        all.append(buffer, static_cast<qsizetype>(count));
    return all;
}

class SecretStore : public testing::Test {
protected:
    QTemporaryDir m_home;
    Variable m_data{"XDG_DATA_HOME", m_home.filePath(u"data"_s).toUtf8()};
    SessionBus m_bus;
};

} // namespace

TEST_F(SecretStore, KeepsASecretWhereOtherProgramsFindIt) {
    const Keyring keyring(m_home);
    EXPECT_EQ(secret(KEY), std::nullopt);
    EXPECT_FALSE(hasSecret(KEY));
    EXPECT_TRUE(setSecret(KEY, u"Grüße 🔑"_s));
    EXPECT_EQ(secret(KEY), u"Grüße 🔑"_s);
    EXPECT_TRUE(hasSecret(KEY));
    EXPECT_EQ(output("secret-tool lookup service com.ombru.mac account device-token"), "Grüße 🔑");
}

TEST_F(SecretStore, ReplacesASecretAndLeavesOne) {
    const Keyring keyring(m_home);
    setSecret(KEY, u"first"_s);
    setSecret(KEY, u"second"_s);
    EXPECT_EQ(secret(KEY), u"second"_s);
    EXPECT_EQ(output("secret-tool search --all service com.ombru.mac 2>/dev/null").count("secret = "), 1);
}

TEST_F(SecretStore, TakesASecretAwayAndOnlyThatOne) {
    const Keyring keyring(m_home);
    setSecret(KEY, u"token"_s);
    setSecret(u"another"_s, u"kept"_s);
    setSecret(KEY, std::nullopt);
    EXPECT_EQ(secret(KEY), std::nullopt);
    EXPECT_FALSE(hasSecret(KEY));
    EXPECT_EQ(secret(u"another"_s), u"kept"_s);
    setSecret(KEY, std::nullopt); // what is not there is taken away without ado
}

TEST_F(SecretStore, ForgetsAllOfOursAndNoneOfOthers) {
    const Keyring keyring(m_home);
    EXPECT_FALSE(hasSecrets());
    output("printf kept | secret-tool store --label=x service org.example account device-token");
    EXPECT_FALSE(hasSecrets());
    setSecret(KEY, u"token"_s);
    setSecret(u"another"_s, u"one"_s);
    EXPECT_TRUE(hasSecrets());
    EXPECT_TRUE(forgetSecrets());
    EXPECT_FALSE(hasSecrets());
    EXPECT_EQ(secret(KEY), std::nullopt);
    EXPECT_EQ(secret(u"another"_s), std::nullopt);
    EXPECT_EQ(output("secret-tool lookup service org.example account device-token"), "kept");
}

TEST_F(SecretStore, ReadsWhatAnotherProgramStored) {
    const Keyring keyring(m_home);
    output("printf other | secret-tool store --label=x service com.ombru.mac account device-token");
    EXPECT_EQ(secret(KEY), u"other"_s);
    setSecret(KEY, u"ours"_s);
    EXPECT_EQ(secret(KEY), u"ours"_s);
    EXPECT_EQ(output("secret-tool search --all service com.ombru.mac 2>/dev/null").count("secret = "), 1);
}

TEST_F(SecretStore, AnEmptySecretIsNotAMissingOne) {
    const Keyring keyring(m_home);
    setSecret(KEY, QString());
    EXPECT_EQ(secret(KEY), QString());
}

TEST_F(SecretStore, BytesThatAreNoTextAreNone) {
    const Keyring keyring(m_home);
    output("printf '\\377\\376' | secret-tool store --label=x service com.ombru.mac account device-token 2>/dev/null");
    ASSERT_TRUE(hasSecret(KEY));
    EXPECT_EQ(secret(KEY), std::nullopt);
}

TEST_F(SecretStore, WithoutAServiceIsKeptInAFileForTheOwnerAlone) {
    EXPECT_EQ(secretDirectory(), m_home.filePath(u"data/ombru/secrets"_s));
    setSecret(KEY, u"Grüße 🔑"_s);
    EXPECT_EQ(secret(KEY), u"Grüße 🔑"_s);
    EXPECT_FALSE(hasSecret(KEY)) << "not in a store";
    const auto file = m_home.filePath(u"data/ombru/secrets/device-token"_s);
    EXPECT_EQ(QFile::permissions(file) & ~(QFile::ReadUser | QFile::WriteUser), QFile::ReadOwner | QFile::WriteOwner);
    EXPECT_EQ(QFile::permissions(*secretDirectory()) & (QFile::ReadGroup | QFile::ReadOther | QFile::ExeOther), 0);
    setSecret(KEY, u"second"_s);
    EXPECT_EQ(secret(KEY), u"second"_s);
    setSecret(KEY, std::nullopt);
    EXPECT_EQ(secret(KEY), std::nullopt);
    EXPECT_FALSE(QFile::exists(file));
}

// The system's loader finds nothing there that it could load.
TEST_F(SecretStore, WithoutTheLibraryIsKeptInAFileWhateverTheDesktopHas) {
    const Keyring keyring(m_home);
    QFile library(m_home.filePath(u"libsecret-1.so.0"_s));
    ASSERT_TRUE(library.open(QFile::WriteOnly));
    library.close();
    {
        const Variable libraries("LD_LIBRARY_PATH", m_home.path().toUtf8());
        EXPECT_EQ(secretDirectory(), m_home.filePath(u"data/ombru/secrets"_s));
        EXPECT_TRUE(setSecret(KEY, u"token"_s));
        EXPECT_EQ(secret(KEY), u"token"_s);
        EXPECT_FALSE(hasSecret(KEY));
        EXPECT_FALSE(hasSecrets());
    }
    EXPECT_EQ(secretDirectory(), std::nullopt);
    EXPECT_EQ(secret(KEY), u"token"_s);
}

TEST_F(SecretStore, NothingOfItsLibrariesIsInThisProgram) {
    const Keyring keyring(m_home);
    EXPECT_TRUE(setSecret(KEY, u"token"_s));
    EXPECT_EQ(secret(KEY), u"token"_s);
    const auto mapped = contents(u"/proc/self/maps"_s);
    EXPECT_TRUE(mapped.contains("libQt6Core"));
    for (const auto *library : {"libsecret", "libgio", "libgobject"})
        EXPECT_FALSE(mapped.contains(library)) << library;
}

TEST_F(SecretStore, WhatAFileKeptCountsUntilTheStoreHasIt) {
    setSecret(KEY, u"from the file"_s);
    const Keyring keyring(m_home);
    EXPECT_EQ(secretDirectory(), std::nullopt);
    EXPECT_EQ(secret(KEY), u"from the file"_s);
    setSecret(KEY, u"in the store"_s);
    EXPECT_EQ(secret(KEY), u"in the store"_s);
    EXPECT_FALSE(QFile::exists(m_home.filePath(u"data/ombru/secrets/device-token"_s)));
    setSecret(KEY, std::nullopt);
    EXPECT_EQ(secret(KEY), std::nullopt);
}

TEST_F(SecretStore, AFileThatIsNoTextIsNone) {
    setSecret(KEY, u"token"_s);
    QFile file(m_home.filePath(u"data/ombru/secrets/device-token"_s));
    ASSERT_TRUE(file.open(QFile::WriteOnly));
    file.write("\xff\xfe");
    file.close();
    EXPECT_EQ(secret(KEY), std::nullopt);
}

TEST_F(SecretStore, IsFoundAgainAfterTheServiceWasRestarted) {
    {
        Keyring keyring(m_home);
        setSecret(KEY, u"token"_s);
        keyring.end(SIGKILL);
        EXPECT_EQ(secret(KEY), std::nullopt);
    }
    const Keyring keyring(m_home);
    EXPECT_EQ(secret(KEY), u"token"_s);
}

TEST_F(SecretStore, ALockedOneThatNobodyCanUnlockIsAbsentAndStaysAsItIs) {
    {
        const Keyring keyring(m_home);
        setSecret(KEY, u"token"_s);
    }
    {
        const Keyring keyring(m_home, Keyring::State::locked);
        EXPECT_TRUE(hasSecret(KEY));
        EXPECT_EQ(secret(KEY), std::nullopt);
        EXPECT_FALSE(setSecret(u"another"_s, u"lost"_s));
        EXPECT_TRUE(storeLagsBehind());
        EXPECT_EQ(secret(u"another"_s), std::nullopt);
        EXPECT_FALSE(storeLagsBehind()) << "there was nothing before";
    }
    const Keyring keyring(m_home);
    EXPECT_EQ(secret(KEY), u"token"_s);
}

TEST_F(SecretStore, WhatALockedOneDoesNotLetGoOfIsToldNoMoreAndGoneOnceItIsUnlocked) {
    {
        const Keyring keyring(m_home);
        setSecret(KEY, u"token"_s);
        setSecret(u"another"_s, u"kept"_s);
        EXPECT_FALSE(storeLagsBehind());
    }
    {
        const Keyring keyring(m_home, Keyring::State::locked);
        EXPECT_FALSE(setSecret(KEY, std::nullopt));
        EXPECT_TRUE(storeLagsBehind());
        EXPECT_FALSE(hasSecret(KEY));
        EXPECT_TRUE(hasSecrets());
        EXPECT_EQ(secret(KEY), std::nullopt);
        EXPECT_TRUE(storeLagsBehind()) << "it is locked still";
    }
    const Keyring keyring(m_home);
    EXPECT_EQ(output("secret-tool lookup service com.ombru.mac account device-token"), "token");
    EXPECT_EQ(secret(KEY), std::nullopt);
    EXPECT_EQ(output("secret-tool lookup service com.ombru.mac account device-token"), "");
    EXPECT_EQ(secret(u"another"_s), u"kept"_s);
    EXPECT_FALSE(storeLagsBehind());
    EXPECT_TRUE(setSecret(KEY, u"new"_s));
    EXPECT_EQ(secret(KEY), u"new"_s);
}

TEST_F(SecretStore, ANewOneThatALockedOneDoesNotTakeLeavesNoOlderOne) {
    {
        const Keyring keyring(m_home);
        setSecret(KEY, u"old"_s);
    }
    {
        const Keyring keyring(m_home, Keyring::State::locked);
        EXPECT_FALSE(setSecret(KEY, u"new"_s));
    }
    const Keyring keyring(m_home);
    EXPECT_EQ(secret(KEY), std::nullopt);
    EXPECT_FALSE(hasSecret(KEY));
    EXPECT_EQ(output("secret-tool search --all service com.ombru.mac 2>/dev/null"), "");
}

TEST_F(SecretStore, TheNextChangeMakesUpForOneThatALockedOneDidNotTake) {
    {
        const Keyring keyring(m_home);
        setSecret(KEY, u"old"_s);
    }
    {
        const Keyring keyring(m_home, Keyring::State::locked);
        EXPECT_FALSE(setSecret(KEY, std::nullopt));
    }
    const Keyring keyring(m_home);
    EXPECT_TRUE(setSecret(KEY, u"new"_s));
    EXPECT_FALSE(storeLagsBehind());
    EXPECT_EQ(secret(KEY), u"new"_s);
    EXPECT_EQ(output("secret-tool search --all service com.ombru.mac 2>/dev/null").count("secret = "), 1);
}

TEST_F(SecretStore, ALockedOneDoesNotForgetAndSaysSo) {
    {
        const Keyring keyring(m_home);
        setSecret(KEY, u"token"_s);
    }
    const Keyring keyring(m_home, Keyring::State::locked);
    EXPECT_FALSE(forgetSecrets());
    EXPECT_TRUE(hasSecrets());
}

TEST_F(SecretStore, OneThatIsOutOfReachWhenSomethingIsForgottenHasNothingLater) {
    {
        const Keyring keyring(m_home);
        setSecret(KEY, u"in the store"_s);
    }
    {
        const Variable none("DBUS_SESSION_BUS_ADDRESS");
        const Variable nowhere("XDG_RUNTIME_DIR", "/nonexistent");
        EXPECT_TRUE(setSecret(KEY, std::nullopt));
        EXPECT_EQ(secret(KEY), std::nullopt);
    }
    const Keyring keyring(m_home);
    EXPECT_EQ(secret(KEY), std::nullopt);
    EXPECT_FALSE(hasSecret(KEY));
}

TEST_F(SecretStore, WhatAFileGotLaterCountsMoreThanWhatTheStoreHad) {
    {
        const Keyring keyring(m_home);
        setSecret(KEY, u"in the store"_s);
    }
    {
        const Variable none("DBUS_SESSION_BUS_ADDRESS");
        const Variable nowhere("XDG_RUNTIME_DIR", "/nonexistent");
        EXPECT_TRUE(setSecret(KEY, u"later"_s));
    }
    const Keyring keyring(m_home);
    EXPECT_EQ(secret(KEY), u"later"_s);
    EXPECT_FALSE(hasSecret(KEY)) << "not in the store";
    EXPECT_TRUE(setSecret(KEY, std::nullopt));
    EXPECT_EQ(secret(KEY), std::nullopt);
}

TEST_F(SecretStore, WhatIsToGoIsNotedBeforeTheStoreIsAskedWhichTheProgramMayNotSeeTheEndOf) {
    const Keyring keyring(m_home);
    setSecret(KEY, u"token"_s);
    keyring.signal(SIGSTOP);
    {
        const std::jthread changing([] { setSecret(KEY, std::nullopt); });
        EXPECT_TRUE(waitUntil(storeLagsBehind));
        keyring.signal(SIGCONT);
    }
    EXPECT_FALSE(storeLagsBehind());
    EXPECT_EQ(secret(KEY), std::nullopt);
}

TEST_F(SecretStore, AServiceThatNeverAnswersIsGivenUp) {
    const Keyring keyring(m_home);
    setSecret(KEY, u"token"_s);
    keyring.signal(SIGSTOP);
    EXPECT_EQ(secretWithin(SHORTLY, KEY), std::nullopt);
    keyring.signal(SIGCONT);
    EXPECT_EQ(secret(KEY), u"token"_s);
}

TEST(SecretStoreWithoutABus, KeepsItInAFile) {
    const QTemporaryDir home;
    const Variable data("XDG_DATA_HOME", home.path().toUtf8());
    const Variable none("DBUS_SESSION_BUS_ADDRESS");
    const Variable nowhere("XDG_RUNTIME_DIR", "/nonexistent");
    EXPECT_TRUE(setSecret(KEY, u"token"_s));
    EXPECT_EQ(secret(KEY), u"token"_s);
    const Variable gone("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    setSecret(KEY, u"another"_s);
    EXPECT_EQ(secret(KEY), u"another"_s);
    const Variable garbage("DBUS_SESSION_BUS_ADDRESS", "not an address");
    EXPECT_EQ(secret(KEY), u"another"_s);
    setSecret(KEY, std::nullopt);
    EXPECT_EQ(secret(KEY), std::nullopt);
}

TEST(SecretStoreWithoutABus, AFileThatCannotBeWrittenKeepsNothing) {
    const Variable data("XDG_DATA_HOME", "/proc/nowhere");
    const Variable none("DBUS_SESSION_BUS_ADDRESS");
    const Variable nowhere("XDG_RUNTIME_DIR", "/nonexistent");
    EXPECT_FALSE(setSecret(KEY, u"token"_s));
    EXPECT_EQ(secret(KEY), std::nullopt);
}

TEST(SecretStoreWithoutABus, OutlivesABusAndFindsTheNext) {
    const QTemporaryDir home;
    const auto place = std::make_shared<QTemporaryDir>();
    {
        const SessionBus bus(place);
        const Keyring keyring(home);
        setSecret(KEY, u"token"_s);
        EXPECT_EQ(secret(KEY), u"token"_s);
    }
    EXPECT_EQ(secret(KEY), std::nullopt);
    const SessionBus bus(place);
    const Keyring keyring(home);
    EXPECT_EQ(secret(KEY), u"token"_s);
}

TEST(SecretStoreWithoutABus, ABusThatNeverAnswersIsGivenUp) {
    const SessionBus bus;
    bus.signal(SIGSTOP);
    EXPECT_EQ(secretWithin(SHORTLY, KEY), std::nullopt);
}
