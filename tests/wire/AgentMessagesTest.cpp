#include "wire/AgentMessages.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

TEST(AgentMessages, StateHasEveryField) {
    const auto json = toJson(StateMessage{true, 3, {u"Ann"_s}, true, u"working"_s});
    EXPECT_EQ(QJsonDocument(json).toJson(QJsonDocument::Compact),
              R"({"busy":true,"calls":["Ann"],"sharing":true,"status":"working","step":3,"type":"state"})");
}

TEST(AgentMessages, EventCarriesTheWholeTextAndARealTime) {
    const auto json = toJson(EventMessage{u"bad"_s, u"one\ntwo"_s, 12.5});
    EXPECT_EQ(QJsonDocument(json).toJson(QJsonDocument::Compact),
              R"({"kind":"bad","text":"one\ntwo","ts":12.5,"type":"event"})");
}

TEST(AgentMessages, ScreenshotIsBase64) {
    const auto json = toJson(ScreenshotMessage{2, 1.0, QByteArray("\xff\xd8", 2)});
    EXPECT_EQ(json[u"jpeg"_s].toString(), u"/9g="_s);
    EXPECT_EQ(json[u"step"_s].toInt(), 2);
    EXPECT_EQ(json[u"type"_s].toString(), u"screenshot"_s);
}
