#include "base/WholeFile.h"

#include "tests/support/Ceiling.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class WholeFile : public testing::Test {
protected:
    QString path(const QString &name) const { return m_directory.filePath(name); }
    QStringList entries() const { return QDir(m_directory.path()).entryList(QDir::Files | QDir::Hidden); }

    QTemporaryDir m_directory;
};

} // namespace

TEST_F(WholeFile, AFileReplacesTheOneBeforeAndIsTheOwnersAlone) {
    ASSERT_TRUE(writeWholeFile(path(u"a"_s), "first"));
    ASSERT_TRUE(writeWholeFile(path(u"a"_s), "second"));
    EXPECT_EQ(contents(path(u"a"_s)), "second");
    EXPECT_EQ(entries(), QStringList{u"a"_s});
    struct stat info{};
    ASSERT_EQ(stat(path(u"a"_s).toLocal8Bit().constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
}

TEST_F(WholeFile, AFullDiskLeavesTheOldFileAndNoPartOfTheNew) {
    ASSERT_TRUE(writeWholeFile(path(u"a"_s), "old"));
    {
        const test::Ceiling limit(4096);
        const auto written = writeWholeFile(path(u"a"_s), QByteArray(100'000, 'x'));
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error().domain, u"file"_s);
        EXPECT_EQ(written.error().code, EFBIG);
        EXPECT_TRUE(written.error().description.contains(path(u"a"_s)));
    }
    EXPECT_EQ(contents(path(u"a"_s)), "old");
    EXPECT_EQ(entries(), QStringList{u"a"_s});
}

TEST_F(WholeFile, ADirectoryThatIsNotThereIsAFailure) {
    const auto written = writeWholeFile(path(u"nowhere/a"_s), "x");
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().code, ENOENT);
}

TEST_F(WholeFile, ADirectoryInTheFilesPlaceIsAFailureThatLeavesNothing) {
    ASSERT_TRUE(QDir(m_directory.path()).mkpath(u"a/b"_s));
    EXPECT_FALSE(writeWholeFile(path(u"a"_s), "x"));
    EXPECT_TRUE(entries().isEmpty());
}
