#include "cloud/CloudConfig.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

CloudConfig config(const char *json) {
    return CloudConfig::from(QJsonDocument::fromJson(json).object());
}

} // namespace

TEST(CloudConfig, AnEmptyReplyIsTheDefaultRecord) {
    const auto record = config("{}");
    EXPECT_EQ(record, CloudConfig());
    EXPECT_EQ(record.greeting, u"Hey, what can I help you with?"_s);
    EXPECT_EQ(record.ttsModel, u"aura-2-thalia-en"_s);
    EXPECT_TRUE(record.shareAudio);
    EXPECT_FALSE(record.trusted);
    EXPECT_EQ(record.email + record.systemPrompt + record.wsToken + record.deepgramKey, QString());
}

TEST(CloudConfig, EveryFieldIsReadFromItsKey) {
    EXPECT_EQ(config(R"({"email": "a@b", "trusted": true, "system_prompt": "p", "ws_token": "w", "deepgram_key": "d",
                         "greeting": "g", "tts_model": "t", "share_audio": "off", "more": {}})"),
              (CloudConfig{u"a@b"_s, true, u"p"_s, u"w"_s, u"d"_s, u"g"_s, u"t"_s, false}));
}

TEST(CloudConfig, AValueOfAnotherTypeIsAsGoodAsNone) {
    EXPECT_EQ(config(R"({"email": 1, "trusted": "true", "system_prompt": [], "ws_token": {}, "deepgram_key": true,
                         "greeting": 2, "tts_model": null, "share_audio": false})"),
              CloudConfig());
    EXPECT_FALSE(config(R"({"trusted": 1})").trusted);
}

TEST(CloudConfig, SharingIsOffForTheTextOffAlone) {
    EXPECT_FALSE(config(R"({"share_audio": "off"})").shareAudio);
    for (const auto *json : {R"({"share_audio": "on"})", R"({"share_audio": "Off"})", R"({"share_audio": "OFF"})",
                             R"({"share_audio": " off"})", R"({"share_audio": ""})", R"({"share_audio": false})"})
        EXPECT_TRUE(config(json).shareAudio) << json;
}

TEST(CloudConfig, AnEmptyTextCountsButForGreetingAndVoice) {
    const auto record = config(R"({"email": "", "system_prompt": "", "ws_token": "", "deepgram_key": "", "greeting": "",
                                   "tts_model": ""})");
    EXPECT_EQ(record, CloudConfig());
    EXPECT_EQ(config(R"({"greeting": " "})").greeting, u" "_s);
}
