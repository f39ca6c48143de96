#include "tests/support/SpeechService.h"

#include "tests/support/G711.h"
#include "tests/support/Tone.h"
#include "tests/support/WavFile.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdlib>

namespace ombru::test {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype FRAME = 160; // bytes: 20 ms
constexpr int FRAME_MILLISECONDS = 20;
constexpr int END_POINT = 300; // milliseconds of silence
constexpr int UTTERANCE_END = 1000;
constexpr int SPEECH_LEVEL = 500; // of the samples' mean
constexpr double TONE_SECONDS_A_CHARACTER = 0.01;
constexpr int CLOSE = 8;

QUrl target(const AccountRequest &request) {
    return QUrl::fromEncoded(request.line().split(' ').value(1));
}

QByteArray json(const QJsonObject &object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

bool isLoudFrame(QByteArrayView frame) {
    int sum = 0;
    for (const char code : frame)
        sum += std::abs(int(fromUlaw(static_cast<std::uint8_t>(code))));
    return sum > SPEECH_LEVEL * frame.size();
}

} // namespace

void SpeechService::Listener::results(const QString &transcript, Finality finality) {
    const QJsonObject channel{{u"alternatives"_s, QJsonArray{QJsonObject{{u"transcript"_s, transcript}}}}};
    m_channel.sendText(json({{u"type"_s, u"Results"_s},
                             {u"is_final"_s, finality != Finality::interim},
                             {u"speech_final"_s, finality == Finality::speechFinal},
                             {u"channel"_s, channel}}));
}

void SpeechService::Listener::utteranceEnd() {
    m_channel.sendText(json({{u"type"_s, u"UtteranceEnd"_s}}));
}

void SpeechService::Listener::close(int code, const QByteArray &reason) {
    const auto bytes = qToBigEndian(static_cast<quint16>(code));
    m_channel.send({CLOSE, QByteArray(reinterpret_cast<const char *>(&bytes), sizeof bytes) + reason});
}

void SpeechService::Listener::readOn() {
    m_channel.socket->setReadBufferSize(0);
    Q_EMIT m_channel.socket->readyRead();
}

void SpeechService::Listener::hear(const QByteArray &bytes) {
    audio += bytes;
    for (; m_measured + FRAME <= audio.size(); m_measured += FRAME) {
        const bool loud = isLoudFrame(QByteArrayView(audio).sliced(m_measured, FRAME));
        m_heardSpeech |= loud;
        m_silence = loud ? 0 : m_silence + FRAME_MILLISECONDS;
    }
}

SpeechService::SpeechService(Voice voice, quint16 port, const std::optional<QSslConfiguration> &encryption)
    : m_voice(voice), m_service(encryption, port) {
    m_service.answer = [this](const AccountRequest &request) { return reply(request); };
    m_service.onFrame = [this](AccountService::Channel &channel) { receive(channel); };
    m_service.onChannel = [this](AccountService::Channel &channel) {
        listeners.push_back(std::make_unique<Listener>(channel));
        if (target(channel.request).path() != "/v1/listen"_L1)
            channel.hangUp();
    };
}

QString SpeechService::textOf(std::size_t number) const {
    return requests().at(number).json()[u"text"_s].toString();
}

QUrlQuery SpeechService::queryOf(std::size_t number) const {
    return QUrlQuery(target(requests().at(number)));
}

void SpeechService::answer(std::size_t number) {
    m_service.answerNow(number, speech(requests().at(number)));
}

void SpeechService::refuse(const AccountReply &reply) {
    m_service.manner = AccountService::Manner::refuses;
    m_service.refusal = reply;
}

bool SpeechService::isDeserted() const {
    return std::ranges::all_of(m_service.channels, [](const auto &channel) { return channel->gone; });
}

AccountReply SpeechService::reply(const AccountRequest &request) {
    if (misbehave) {
        if (const auto instead = misbehave(request))
            return *instead;
    }
    if (holds)
        return {.manner = AccountReply::Manner::later};
    return speech(request);
}

AccountReply SpeechService::speech(const AccountRequest &request) {
    const auto url = target(request);
    const QUrlQuery query(url);
    if (!request.line().startsWith("POST ") || url.path() != "/v1/speak"_L1)
        return {.status = 404};
    if (!request.header("Authorization").startsWith("Token "))
        return {.status = 401};
    const auto text = request.json()[u"text"_s].toString();
    const bool known = query.queryItemValue(u"encoding"_s) == "linear16"_L1 &&
                       query.queryItemValue(u"container"_s) == "wav"_L1 && query.hasQueryItem(u"model"_s);
    const int rate = query.queryItemValue(u"sample_rate"_s).toInt();
    if (!known || rate <= 0 || text.isEmpty())
        return {.status = 400};
    const auto wav = spoken(text, rate);
    if (wav.isEmpty())
        return {.status = 500, .body = R"({"err_msg": "espeak-ng or sox is missing, or does not speak"})"};
    return {.body = wav, .headers = "Content-Type: audio/wav\r\n"};
}

// Empty when it fails.
QByteArray SpeechService::spoken(const QString &text, int rate) {
    const WavFormat format{.rate = static_cast<quint32>(rate)};
    if (m_voice == Voice::tones) {
        const auto tone = Tone{.rate = rate, .seconds = TONE_SECONDS_A_CHARACTER * double(text.size())}.sound();
        std::vector<std::int16_t> samples;
        for (const auto value : tone)
            samples.push_back(static_cast<std::int16_t>(value * 32767));
        return wavOf(samples, format);
    }
    QFile said(m_directory.filePath(u"text"_s));
    if (!said.open(QFile::WriteOnly) || said.write(text.toUtf8()) < 0)
        return {};
    said.close();
    const auto command = "cd '" + QFile::encodeName(m_directory.path()) +
                         "' && espeak-ng -w voice.wav -f text && sox voice.wav -t raw -r " + QByteArray::number(rate) +
                         " -b 16 -e signed -c 1 voice.raw";
    QFile raw(m_directory.filePath(u"voice.raw"_s));
    if (std::system(command.constData()) != 0 || !raw.open(QFile::ReadOnly))
        return {};
    return riff(format.chunk() + chunk("data", raw.readAll()));
}

void SpeechService::receive(AccountService::Channel &channel) {
    const auto listener =
        std::ranges::find_if(listeners, [&channel](const auto &each) { return &each->m_channel == &channel; });
    auto &heard = **listener;
    const auto &frame = channel.frames.back();
    if (frame.opcode == 1)
        heard.texts.append(frame.payload);
    if (frame.opcode == CLOSE)
        heard.closeCode = frame.payload.size() < 2 ? 0 : qFromBigEndian<quint16>(frame.payload.constData());
    if (frame.opcode != 2)
        return;
    heard.hear(frame.payload);
    onAudio(heard);
}

void SpeechService::hearUtterance(Listener &listener) {
    if (!listener.heardSpeech())
        return;
    const auto text = utterances.value(0);
    if (!std::exchange(listener.m_interim, true))
        listener.results(text.section(u' ', 0, 0), Listener::Finality::interim);
    if (listener.silence() >= END_POINT && !std::exchange(listener.m_final, true)) {
        listener.results(text, Listener::Finality::speechFinal);
        utterances = utterances.mid(1);
    }
    if (listener.silence() < UTTERANCE_END)
        return;
    listener.utteranceEnd();
    listener.m_heardSpeech = listener.m_interim = listener.m_final = false;
}

} // namespace ombru::test
