// Which settings count for whom.
#include "service/settings/ServiceSettings.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

constexpr uid_t ROOT = 0;
constexpr uid_t PERSON = 1000;

struct ServiceSettingsTest : ::testing::Test {
    QTemporaryDir directory;
    QString ofSystem = directory.filePath(u"ombru-service.conf"_s);
    QString fileOf(uid_t user) const { return ServiceSettings::defaultFile(user, ofSystem); }
};

TEST_F(ServiceSettingsTest, WhereThereAreNoneOfTheSystemEachHasHisOwn) {
    EXPECT_TRUE(fileOf(ROOT).endsWith(u"/ombru-service/ombru-service.conf"_s));
    EXPECT_EQ(fileOf(PERSON), fileOf(ROOT));
}

TEST_F(ServiceSettingsTest, ThoseOfTheSystemAreForItsOwnUsers) {
    ASSERT_TRUE(QFile(ofSystem).open(QFile::WriteOnly));
    EXPECT_EQ(fileOf(ROOT), ofSystem);
    EXPECT_EQ(fileOf(PERSON - 1), ofSystem);
    EXPECT_TRUE(fileOf(PERSON).endsWith(u"/ombru-service/ombru-service.conf"_s));
}

} // namespace
