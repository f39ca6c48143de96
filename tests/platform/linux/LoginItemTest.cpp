#include "platform/LoginItem.h"

#include "platform/linux/applications/DesktopEntry.h"
#include "tests/support/Variable.h"
#include "tests/support/Wait.h"

#include <QDir>
#include <QTemporaryDir>

#include <csignal>
#include <sys/resource.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class LoginItemTest : public testing::Test {
protected:
    LoginItemTest() { qputenv("XDG_CONFIG_HOME", configuration().toUtf8()); }

    QString configuration() const { return m_directory.filePath(u"a home with \"quotes\", $ and ümlauts"_s); }
    QString path() const { return configuration() + u"/autostart/ombru.desktop"_s; }
    QByteArray content() const {
        QFile file(path());
        return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
    }
    QString started() const {
        const auto entry = parseDesktopEntry(u"ombru"_s, path(), content(), u"C"_s);
        if (!entry)
            return {};
        const auto commands = commandLines(*entry, {});
        const auto words = commands && commands->size() == 1 ? commands->first() : QStringList();
        return words.value(1) == u"--at-login" ? words.first() : QString();
    }
    void write(const QByteArray &content) const {
        QDir().mkpath(configuration() + u"/autostart"_s);
        QFile file(path());
        ASSERT_TRUE(file.open(QFile::WriteOnly | QFile::Truncate));
        file.write(content);
    }

    QTemporaryDir m_directory;
};

} // namespace

TEST_F(LoginItemTest, StartsThisProgramAtLogin) {
    ASSERT_TRUE(registerLoginItem());
    EXPECT_EQ(loginItemPath(), path());
    const auto entry = parseDesktopEntry(u"ombru"_s, path(), content(), u"C"_s);
    ASSERT_TRUE(entry) << content().toStdString();
    const auto commands = commandLines(*entry, {});
    ASSERT_TRUE(commands);
    EXPECT_EQ(*commands, (QList<QStringList>{{QCoreApplication::applicationFilePath(), u"--at-login"_s}}));
}

TEST_F(LoginItemTest, ALinkThatItsOwnerTypesIsNamedInsteadOfWhatIsBehindIt) {
    const auto here = QCoreApplication::applicationFilePath();
    const auto link = m_directory.filePath(QFileInfo(here).fileName());
    ASSERT_TRUE(QFile::link(here, link));
    const Variable path("PATH", QFile::encodeName(m_directory.path()));
    ASSERT_TRUE(registerLoginItem());
    EXPECT_EQ(started(), link);
}

TEST_F(LoginItemTest, AnotherProgramOfThatNameIsNotNamed) {
    const auto here = QCoreApplication::applicationFilePath();
    ASSERT_TRUE(QFile::copy(u"/bin/true"_s, m_directory.filePath(QFileInfo(here).fileName())));
    const Variable path("PATH", QFile::encodeName(m_directory.path()));
    ASSERT_TRUE(registerLoginItem());
    EXPECT_EQ(started(), here);
}

TEST_F(LoginItemTest, OneOfAProgramThatIsGoneStartsThisOneFromNowOn) {
    write("[Desktop Entry]\nName=mine\nType=Application\nExec=\"/nowhere/build/bin/ombru-menubar\"\nX-Own=1\n");
    ASSERT_TRUE(repairLoginItem());
    EXPECT_EQ(started(), QCoreApplication::applicationFilePath());
    EXPECT_TRUE(content().startsWith("[Desktop Entry]\nName=mine\n"));
    EXPECT_TRUE(content().endsWith("\nX-Own=1\n"));
}

TEST_F(LoginItemTest, OneThatItHasWrittenForAProgramThatIsGoneIsRepairedToo) {
    write("[Desktop Entry]\nName=ombru\nType=Application\nExec=\"/nowhere/bin/ombru-menubar\" --at-login\n");
    ASSERT_TRUE(repairLoginItem());
    EXPECT_EQ(started(), QCoreApplication::applicationFilePath());
}

TEST_F(LoginItemTest, WhatTheOwnerHasWrittenOrRemovedStaysSo) {
    EXPECT_TRUE(repairLoginItem());
    EXPECT_FALSE(QFile::exists(path()));
    for (const QByteArray own :
         {"[Desktop Entry]\nType=Application\nName=a\nExec=\"/bin/true\"\n", "[Desktop Entry]\nHidden=true\n",
          "[Desktop Entry]\nType=Application\nName=a\nExec=/nowhere/wrapper --with ombru\n"}) {
        write(own);
        EXPECT_TRUE(repairLoginItem());
        EXPECT_EQ(content(), own);
    }
}

TEST_F(LoginItemTest, WhatTheOwnerHasSaidAboutItStays) {
    write("[Desktop Entry]\nHidden=true\n");
    EXPECT_TRUE(registerLoginItem());
    EXPECT_EQ(content(), "[Desktop Entry]\nHidden=true\n");
}

TEST_F(LoginItemTest, WhereItCannotBeWrittenThatIsSaid) {
    QFile inTheWay(configuration());
    ASSERT_TRUE(inTheWay.open(QFile::WriteOnly));
    const auto registered = registerLoginItem();
    ASSERT_FALSE(registered);
    EXPECT_EQ(registered.error().domain, u"login");
    EXPECT_TRUE(registered.error().description.contains(path()));
}

TEST_F(LoginItemTest, WhatCouldNotBeWrittenWholeIsNotLeft) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit few{20, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &few), 0);
    const auto registered = registerLoginItem();
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(registered);
    EXPECT_FALSE(QFile::exists(path()));
}
