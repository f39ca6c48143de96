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

TEST(AgentMessages, WhatIsWrittenIsRead) {
    const std::vector<AgentMessage> all{HelloMessage{}, StateMessage{true, 3, {u"Ann"_s, u"Bob"_s}, true, u"working"_s},
                                        EventMessage{u"bad"_s, u"one\ntwo \u2603"_s, 12.5},
                                        ScreenshotMessage{2, 1.5, QByteArray("\xff\xd8\xff\0x", 5)}};
    for (const auto &message : all)
        EXPECT_EQ(agentMessage(toJson(message)), message);
}

TEST(AgentMessages, TheTextOnTheWireIsThatOfTheTree) {
    QString each;
    for (char16_t unit = 0; unit < 0x180; ++unit)
        each += QChar(unit);
    const std::vector<AgentMessage> all{
        HelloMessage{}, StateMessage{true, 3, {u"Ann \"x\""_s}, true, u"a\nb"_s},
        EventMessage{u"result"_s, each + u"\u2028 \U0001F600 \ufeff"_s, 1764000000.123456},
        EventMessage{u"said"_s, {}, 1764000000}, ScreenshotMessage{2, 1.5, QByteArray("\xff\xd8\xff\0x", 5)}};
    for (const auto &message : all) {
        const auto read = QJsonDocument::fromJson(jsonText(message));
        EXPECT_EQ(read.object(), toJson(message)) << jsonText(message).toStdString();
        EXPECT_EQ(agentMessage(read.object()), message);
    }
}

TEST(AgentMessages, HalfACharacterIsNoReasonForATextThatCannotBeRead) {
    const auto text = jsonText(EventMessage{u"said"_s, u"a"_s + QChar(0xD83D) + u"b"_s, 1});
    EXPECT_TRUE(QByteArrayView(text).isValidUtf8());
    const auto read = QJsonDocument::fromJson(text)["text"_L1].toString();
    EXPECT_TRUE(read.startsWith(u'a') && read.endsWith(u'b')) << text.toStdString();
}

TEST(AgentMessages, WhatTakesTimeIsNotBrief) {
    EXPECT_TRUE(isBrief(HelloMessage{}));
    EXPECT_TRUE(isBrief(StateMessage{}));
    EXPECT_TRUE(isBrief(EventMessage{u"said"_s, QString(4096, u'x'), 1}));
    EXPECT_FALSE(isBrief(EventMessage{u"said"_s, QString(4097, u'x'), 1}));
    EXPECT_FALSE(isBrief(ScreenshotMessage{}));
}

TEST(AgentMessages, WhatIsNoMessageIsNone) {
    EXPECT_EQ(agentMessage({}), std::nullopt);
    EXPECT_EQ(agentMessage({{u"type"_s, u"task"_s}}), std::nullopt);
    EXPECT_EQ(agentMessage({{u"type"_s, 7}}), std::nullopt);
}

TEST(AgentMessages, WhatIsMissingOrOfTheWrongKindIsAsInANewOne) {
    EXPECT_EQ(agentMessage({{u"type"_s, u"state"_s}, {u"busy"_s, u"yes"_s}, {u"calls"_s, 3}}),
              AgentMessage(StateMessage{}));
    EXPECT_EQ(agentMessage({{u"type"_s, u"event"_s}, {u"text"_s, QJsonObject()}}), AgentMessage(EventMessage{}));
}

TEST(AgentMessages, TheBeginningOfALongEventIsReadAsFarAsItIsWhole) {
    const auto whole = QJsonDocument(toJson(EventMessage{u"result"_s, u"a \"quoted\" \u00e9 \\n \u0001 end"_s, 5}))
                           .toJson(QJsonDocument::Compact);
    const auto begins = whole.indexOf("\"text\":\"") + 8;
    QString before;
    for (auto size = begins; size <= whole.indexOf(" end"); ++size) {
        const auto event = beginningOfEvent(QByteArrayView(whole).first(size));
        ASSERT_TRUE(event) << size;
        EXPECT_EQ(event->kind, u"result"_s);
        EXPECT_TRUE(event->text.startsWith(before)) << event->text.toStdString();
        EXPECT_TRUE(u"a \"quoted\" \u00e9 \\n \u0001 end"_s.startsWith(event->text)) << event->text.toStdString();
        before = event->text;
    }
    EXPECT_EQ(before, u"a \"quoted\" \u00e9 \\n \u0001"_s);
}

TEST(AgentMessages, TheBeginningOfAnEventIsReadInWhateverOrderItIs) {
    const auto read = [](QByteArrayView bytes) { return beginningOfEvent(bytes).value_or(EventMessage{}); };
    EXPECT_EQ(read(R"({ "type": "event", "text" : "a \"text\": b)"),
              (EventMessage{u"result"_s, u"a \"text\": b"_s, 0}));
    EXPECT_EQ(read(R"({"text":"whole","ts":5,"kind":"good","more":"...)"), (EventMessage{u"good"_s, u"whole"_s, 0}));
    EXPECT_EQ(read(R"({"kind":"text","text":"cut)"), (EventMessage{u"text"_s, u"cut"_s, 0}));
    EXPECT_EQ(read(R"({"text":")"), (EventMessage{u"result"_s, {}, 0}));
}

TEST(AgentMessages, TheBeginningOfSomethingElseIsNoEvent) {
    EXPECT_EQ(beginningOfEvent(R"({"jpeg":"/9j/4AAQ)"), std::nullopt);
    EXPECT_EQ(beginningOfEvent(R"({"type":"rule","text":"a line)"), std::nullopt);
    EXPECT_EQ(beginningOfEvent(""), std::nullopt);
}
