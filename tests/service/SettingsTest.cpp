// Which settings count for whom, and what does not fit together.
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
    ServiceSettings settings{directory.filePath(u"settings.conf"_s)};
    QString advice() const { return settings.advice().join(u'\n'); }
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

TEST_F(ServiceSettingsTest, WhatComesWithItFitsTogether) {
    EXPECT_TRUE(settings.advice().isEmpty());
}

TEST_F(ServiceSettingsTest, WhoOpensItToTheNetworkIsToldThatPagesNeedItsAddress) {
    ASSERT_TRUE(settings.interface.write(u"any"_s));
    EXPECT_TRUE(advice().contains(u"publicURL http://NAME:8787"_s)) << advice().toStdString();
    ASSERT_TRUE(settings.publicURL.write(u"http://desk:8787"_s));
    EXPECT_TRUE(settings.advice().isEmpty());
}

TEST_F(ServiceSettingsTest, WhoHasAProxyInFrontIsToldToNameIt) {
    ASSERT_TRUE(settings.publicURL.write(u"https://ombru.example"_s));
    EXPECT_TRUE(advice().contains(u"settings proxy"_s)) << advice().toStdString();
    ASSERT_TRUE(settings.proxy.write(u"127.0.0.1"_s));
    EXPECT_TRUE(settings.advice().isEmpty());
}

} // namespace
