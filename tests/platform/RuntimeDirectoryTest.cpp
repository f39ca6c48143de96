// Where this owner's programs meet, and where they do not.
#include "platform/RuntimeDirectory.h"

#include "tests/support/Processes.h"
#include "tests/support/Variable.h"

#include <sys/stat.h>
#include <unistd.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class RuntimeDirectory : public testing::Test {
protected:
    RuntimeDirectory() { QDir().mkpath(m_session); }
    static mode_t mode(const QString &path) {
        struct stat file = {};
        EXPECT_EQ(::lstat(QFile::encodeName(path).constData(), &file), 0);
        return file.st_mode & 0777;
    }
    static void setMode(const QString &path, mode_t mode) {
        EXPECT_EQ(::chmod(QFile::encodeName(path).constData(), mode), 0);
    }
    // Where the session has none.
    static QString elsewhere() {
        const auto session = u"/run/user/%1"_s.arg(::geteuid());
        return QFileInfo::exists(session) ? session + u"/ombru"_s : u"/tmp/ombru-%1"_s.arg(::geteuid());
    }

    Scratch m_scratch;
    QString m_session = m_scratch.path(u"session"_s);
    QString m_ours = m_session + u"/ombru"_s;
    Variable m_variable{"XDG_RUNTIME_DIR", m_session.toUtf8()};
};

} // namespace

TEST_F(RuntimeDirectory, IsMadeInTheSessionsForItsOwnerAlone) {
    const auto found = runtimeDirectory();
    ASSERT_TRUE(found);
    EXPECT_EQ(*found, m_ours);
    EXPECT_EQ(mode(m_ours), 0700U);
    EXPECT_EQ(runtimeDirectory(), found) << "and found again";
}

TEST_F(RuntimeDirectory, IsClosedToOthersWhoCouldReadIt) {
    QDir().mkpath(m_ours);
    setMode(m_ours, 0755);
    EXPECT_TRUE(runtimeDirectory());
    EXPECT_EQ(mode(m_ours), 0700U);
}

TEST_F(RuntimeDirectory, IsNoneThatOthersCanWriteTo) {
    QDir().mkpath(m_ours);
    setMode(m_ours, 0770);
    const auto found = runtimeDirectory();
    ASSERT_FALSE(found);
    EXPECT_EQ(found.error().description,
              u"The directory %1 cannot be used: it is another user's, or others can write to it."_s.arg(m_ours));
}

TEST_F(RuntimeDirectory, IsNoLinkAndNoFile) {
    EXPECT_TRUE(QFile::link(m_scratch.directory(), m_ours));
    EXPECT_FALSE(runtimeDirectory());
    EXPECT_TRUE(QFile::remove(m_ours));
    m_scratch.write(u"session/ombru"_s, "");
    EXPECT_FALSE(runtimeDirectory());
}

TEST_F(RuntimeDirectory, IsNotAnotherUsers) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a directory away";
    QDir().mkpath(m_ours);
    EXPECT_EQ(::chown(QFile::encodeName(m_ours).constData(), 65534, 65534), 0);
    EXPECT_FALSE(runtimeDirectory());
    EXPECT_EQ(::chown(QFile::encodeName(m_session).constData(), 65534, 65534), 0);
    const auto found = runtimeDirectory();
    ASSERT_TRUE(found) << found.error().description.toStdString();
    EXPECT_EQ(*found, elsewhere());
}

TEST_F(RuntimeDirectory, WithoutASessionsItIsTheUsers) {
    for (const QByteArray &value : {QByteArray(), QByteArray("/nonexistent"), QByteArray("relative")}) {
        qputenv("XDG_RUNTIME_DIR", value);
        const auto found = runtimeDirectory();
        ASSERT_TRUE(found) << found.error().description.toStdString();
        EXPECT_EQ(*found, elsewhere());
        EXPECT_EQ(mode(*found), 0700U);
    }
    setMode(m_session, 0777);
    qputenv("XDG_RUNTIME_DIR", m_session.toUtf8());
    EXPECT_EQ(runtimeDirectory(), elsewhere()) << "one where others can put what they want is none";
}
