#include "voice/MediaStream.h"

#include "tests/support/Wait.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

template <class T>
std::optional<T> read(const QString &text) {
    const auto message = streamMessage(text);
    return message && std::holds_alternative<T>(*message) ? std::optional(std::get<T>(*message)) : std::nullopt;
}

QByteArray soundOf(const QString &media) {
    const auto message = read<StreamMedia>(uR"({"event": "media", "media": %1})"_s.arg(media));
    return message ? message->sound : "none";
}

QJsonObject object(const QByteArray &json) {
    return QJsonDocument::fromJson(json).object();
}

} // namespace

TEST(MediaStream, AStartNamesTheStreamTheCallAndTheCaller) {
    const auto start = read<StreamStart>(
        uR"({"event":"start","start":{"streamSid":"MZ1","callSid":"CA1","customParameters":{"from":"+49 1"}}})"_s);
    ASSERT_TRUE(start);
    EXPECT_EQ(start->streamSid, u"MZ1"_s);
    EXPECT_EQ(start->callSid, u"CA1"_s);
    EXPECT_EQ(start->from, u"+49 1"_s);
}

TEST(MediaStream, WhatAStartDoesNotNameIsNone) {
    for (const auto &text : {uR"({"event": "start"})"_s, uR"({"event": "start", "start": {"streamSid": 7}})"_s}) {
        const auto start = read<StreamStart>(text);
        ASSERT_TRUE(start);
        EXPECT_FALSE(start->streamSid);
        EXPECT_FALSE(start->callSid);
        EXPECT_FALSE(start->from);
    }
}

TEST(MediaStream, OnlyTheCallersTrackIsHeard) {
    EXPECT_EQ(soundOf(uR"({"payload": "AP9/"})"_s), QByteArray("\x00\xff\x7f", 3));
    EXPECT_EQ(soundOf(uR"({"track": "inbound", "payload": "AP9/"})"_s), QByteArray("\x00\xff\x7f", 3));
    EXPECT_EQ(soundOf(uR"({"track": "outbound", "payload": "AP9/"})"_s), "none");
    EXPECT_EQ(soundOf(uR"({"track": "", "payload": "AP9/"})"_s), "none");
}

TEST(MediaStream, AConfigNamesWhatItReplaces) {
    const auto all = read<StreamConfig>(
        uR"({"event":"config","deepgram_key":"k","greeting":"g","tts_model":"m","share_audio":"off"})"_s);
    ASSERT_TRUE(all);
    EXPECT_EQ(all->key, u"k"_s);
    EXPECT_EQ(all->greeting, u"g"_s);
    EXPECT_EQ(all->ttsModel, u"m"_s);
    EXPECT_EQ(all->shareAudio, false);
    const auto none = read<StreamConfig>(uR"({"event":"config","deepgram_key":7,"greeting":"","share_audio":false})"_s);
    ASSERT_TRUE(none);
    EXPECT_EQ(none->key + none->greeting + none->ttsModel, u""_s);
    EXPECT_FALSE(none->shareAudio);
    EXPECT_EQ(read<StreamConfig>(uR"({"event":"config","share_audio":"OFF"})"_s)->shareAudio, true);
}

TEST(MediaStream, OtherEventsAndOtherTextsAreNothing) {
    EXPECT_TRUE(read<StreamStop>(uR"({"event": "stop"})"_s));
    for (const auto &text : {uR"({"event": "connected"})"_s, uR"({"event": "mark"})"_s, uR"({"event": 7})"_s, u"{}"_s,
                             u"[]"_s, u"\"stop\""_s, u"garbage"_s, u""_s, uR"({"event": "stop")"_s})
        EXPECT_FALSE(streamMessage(text)) << text.toStdString();
}

TEST(MediaStream, AFrameIsTheSameAsAnyJsonWriterMakesOfIt) {
    for (const auto &sid : {u"MZ1"_s, u"a\"b\\c\n\u0001é🙂"_s, u""_s}) {
        const QByteArray sound(160, '\xa5');
        const QJsonObject expected{{u"event"_s, u"media"_s},
                                   {u"streamSid"_s, sid},
                                   {u"media"_s, QJsonObject{{u"payload"_s, QString::fromLatin1(sound.toBase64())}}}};
        EXPECT_EQ(object(MediaTemplate(sid).message(sound)), expected);
    }
}

TEST(MediaStream, AClearNamesTheStream) {
    EXPECT_EQ(object(clearMessage(u"M\"1"_s)), QJsonObject({{u"event"_s, u"clear"_s}, {u"streamSid"_s, u"M\"1"_s}}));
}

TEST(MediaStream, UsageIsRoundedToHundredthsOfASecond) {
    const auto usage = [](double seconds, int characters) { return object(usageMessage(seconds, characters)); };
    EXPECT_EQ(usage(1.23456, 7),
              QJsonObject({{u"event"_s, u"usage"_s},
                           {u"usage"_s, QJsonObject{{u"stt_seconds"_s, 1.23}, {u"tts_chars"_s, 7}}}}));
    EXPECT_EQ(usage(0.005, 0)[u"usage"_s][u"stt_seconds"_s].toDouble(), 0.01);
}
