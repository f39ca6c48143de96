#include "service/store/JournalFile.h"

#include "service/store/Database.h"
#include "tests/support/Ceiling.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

class JournalFileTest : public ::testing::Test {
protected:
    QByteArray contents() const {
        QFile opened(path);
        EXPECT_TRUE(opened.open(QFile::ReadOnly));
        return opened.readAll();
    }

    QTemporaryDir directory;
    QString path = directory.filePath(u"journal"_s);
};

TEST_F(JournalFileTest, ItIsItsOwnersAloneAndBeginsEmpty) {
    QFile before(path);
    ASSERT_TRUE(before.open(QFile::WriteOnly) && before.write("of before") > 0);
    before.close();
    QFile::remove(path + u"2"_s);
    auto made = JournalFile::make(path + u"2"_s);
    ASSERT_TRUE(made);
    EXPECT_FALSE(QFile::permissions(path + u"2"_s) & (QFile::ReadGroup | QFile::ReadOther | QFile::WriteOther));
    ASSERT_TRUE(JournalFile::make(path));
    EXPECT_EQ(contents(), "");
}

TEST_F(JournalFileTest, WhatIsAppendedIsThereAtOnceUntilItIsCleared) {
    auto file = *JournalFile::make(path);
    EXPECT_TRUE(file.isEmpty());
    ASSERT_TRUE(file.append("one "));
    ASSERT_TRUE(file.append("two"));
    EXPECT_EQ(contents(), "one two");
    EXPECT_FALSE(file.isEmpty());
    ASSERT_TRUE(file.clear());
    EXPECT_TRUE(file.isEmpty());
    ASSERT_TRUE(file.append("three"));
    EXPECT_EQ(contents(), "three");
}

TEST_F(JournalFileTest, WhatDoesNotFitLeavesNothingBehind) {
    auto file = *JournalFile::make(path);
    const test::Ceiling ceiling(1000);
    ASSERT_TRUE(file.append(QByteArray(900, 'a')));
    const auto refused = file.append(QByteArray(200, 'b')); // of which a half fits
    ASSERT_FALSE(refused);
    EXPECT_TRUE(isDiskFull(refused.error())) << refused.error().description.toStdString();
    EXPECT_EQ(contents(), QByteArray(900, 'a'));
    ASSERT_TRUE(file.append(QByteArray(100, 'c')));
    EXPECT_EQ(contents(), QByteArray(900, 'a') + QByteArray(100, 'c'));
}

} // namespace
