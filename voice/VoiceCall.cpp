#include "voice/VoiceCall.h"

#include "base/Text.h"
#include "voice/Inbox.h"
#include "voice/Mulaw.h"
#include "voice/Sentences.h"
#include "voice/ShareWords.h"
#include "voice/WSConnection.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration FRAME = 20ms;
constexpr Clock::Duration USAGE = 15s;
constexpr Clock::Duration LAST_WORDS = 300ms; // for what was sent last, before the connection closes

} // namespace

std::shared_ptr<VoiceCall> VoiceCall::begin(std::shared_ptr<WSConnection> ws, Inbox &inbox, Options options) {
    const auto queue = std::make_shared<SerialQueue>("ombru.call");
    auto call = queue->make<VoiceCall>(queue, std::move(ws), std::move(options));
    inbox.open({.onText =
                    [way = call->way()](const QString &text, Inbox::Waiting waiting) {
                        way([text, waiting = std::move(waiting)](VoiceCall &self) { self.handle(text); });
                    },
                .onClose = [way = call->way()] { way([](VoiceCall &self) { self.end(); }); }});
    return call;
}

VoiceCall::VoiceCall(std::shared_ptr<SerialQueue> queue, std::shared_ptr<WSConnection> ws, Options options)
    : m_queue(std::move(queue)), m_ws(std::move(ws)), m_options(std::move(options)),
      m_frames(*m_queue, FRAME, [this] { beat(); }), m_usage(*m_queue, USAGE, [this] { sendUsage(); }) {}

VoiceCall::Way VoiceCall::way() {
    return [queue = m_queue, weak = weak_from_this()](std::move_only_function<void(VoiceCall &)> what) {
        queue->post([weak, what = std::move(what)]() mutable {
            if (const auto self = weak.lock())
                what(*self);
        });
    };
}

void VoiceCall::setSharing(bool on, bool announce) {
    way()([on, announce](VoiceCall &self) { self.share(on, announce); });
}

void VoiceCall::hangUp() {
    way()([](VoiceCall &self) { self.end(Goodbye::atOnce); });
}

// --- The provider

void VoiceCall::handle(const QString &text) {
    if (m_closed)
        return;
    if (const auto message = streamMessage(text))
        std::visit([this](const auto &value) { take(value); }, *message);
}

void VoiceCall::take(const StreamConfig &config) {
    const auto replace = [](QString &field, const QString &value) {
        if (!value.isEmpty())
            field = value;
    };
    replace(m_options.key, config.key);
    replace(m_options.greeting, config.greeting);
    replace(m_options.ttsModel, config.ttsModel);
    m_options.shareOnStart = config.shareAudio.value_or(m_options.shareOnStart);
}

void VoiceCall::take(const StreamStart &start) {
    if (std::exchange(m_started, true))
        return;
    m_streamSid = start.streamSid;
    if (m_streamSid)
        m_media.emplace(*m_streamSid);
    m_callSid = start.callSid;
    m_caller = start.from.value_or(m_caller);
    m_options.log(u"☎ call from "_s + m_caller + u" connected"_s, LineKind::call);
    m_options.onStart(m_caller);
    if (m_options.key.isEmpty()) {
        m_options.log(u"✗ no Deepgram key — set it in the web admin"_s, LineKind::bad);
        return end();
    }
    connectSTT();
    m_frames.start();
    m_usage.start(USAGE);
    speak(m_options.greeting);
    if (m_options.shareOnStart)
        share(true, false);
}

void VoiceCall::take(const StreamMedia &media) {
    m_sttSeconds += static_cast<double>(media.sound.size()) / RATE;
    if (m_stt)
        m_stt->send(media.sound);
}

void VoiceCall::sendUsage() {
    m_ws->sendFrame(Opcode::text, usageMessage(m_sttSeconds, m_ttsChars));
}

// --- The caller

void VoiceCall::connectSTT() {
    m_stt = std::make_unique<Recognition>(
        m_queue, Recognition::Options{.url = m_options.speech.sttURL(),
                                      .key = m_options.key,
                                      .authority = m_options.speech.authority,
                                      .onText = [this](const QString &text) { sttMessage(text); },
                                      .onFailure = [this](const QString &description) { sttFailed(description); }});
}

void VoiceCall::sttFailed(const QString &description) {
    m_options.log(u"✗ speech recognition: "_s + description, LineKind::bad);
    m_stt.reset();
}

void VoiceCall::sttMessage(const QString &text) {
    const auto message = QJsonDocument::fromJson(text.toUtf8()).object();
    const auto type = message["type"_L1].toString();
    if (type == "UtteranceEnd"_L1)
        return flush();
    if (type != "Results"_L1)
        return;
    const auto best = message["channel"_L1]["alternatives"_L1][0];
    const auto transcript = best["transcript"_L1].toString().trimmed();
    if (!transcript.isEmpty())
        heard(transcript, message["is_final"_L1].toBool());
    if (message["speech_final"_L1].toBool())
        flush();
}

void VoiceCall::heard(const QString &transcript, bool isFinal) {
    m_options.onTalking();
    if (m_playout.hasSpeech())
        bargeIn();
    if (isFinal)
        m_finals.append(transcript);
}

// What waits, and what is being synthesised, belongs to an answer that nobody wants to hear to its end.
void VoiceCall::bargeIn() {
    ++m_generation;
    m_playout.clearSpeech();
    m_sentences.clear();
    if (m_streamSid)
        m_ws->sendFrame(Opcode::text, clearMessage(*m_streamSid));
}

// The end of an utterance.
void VoiceCall::flush() {
    const auto text = std::exchange(m_finals, {}).join(u' ').trimmed();
    if (text.isEmpty())
        return;
    m_options.log(m_caller + u": "_s + text, LineKind::heard);
    if (!switchSharing(text))
        ask(text);
}

bool VoiceCall::switchSharing(const QString &text) {
    const bool stop = asksToStopSharing(text);
    if (stop && m_capture) {
        share(false, true);
        return true;
    }
    if (stop || !asksToShare(text))
        return false;
    if (m_capture)
        speak(u"I'm already sharing the computer's audio."_s);
    else
        share(true, true);
    return true;
}

void VoiceCall::ask(const QString &text) {
    const auto say = [way = way()](const QString &answer) { way([answer](VoiceCall &self) { self.speak(answer); }); };
    const auto done = [say](const QString &answer) {
        if (!answer.isEmpty())
            say(answer);
    };
    m_options.ask({text, m_caller, m_callSid, say, done});
}

// --- The answers

void VoiceCall::speak(const QString &text) {
    if (m_closed)
        return;
    m_options.log(u"ombru: "_s + text, LineKind::said);
    m_sentences += sentencesOf(text);
    pumpSpeech();
}

// One at a time, so that they come in order and the first is heard before the last is made.
void VoiceCall::pumpSpeech() {
    if (m_synthesising || m_closed || m_sentences.isEmpty())
        return;
    const auto sentence = m_sentences.takeFirst();
    m_synthesising = true;
    m_ttsChars += static_cast<int>(characterCount(sentence));
    m_options.speech.tts(
        sentence, m_options.key, m_options.ttsModel,
        [way = way(), generation = m_generation](std::optional<Samples> samples) {
            way([samples = std::move(samples), generation](VoiceCall &self) { self.synthesised(samples, generation); });
        },
        m_ended.get_token());
}

void VoiceCall::synthesised(const std::optional<Samples> &samples, int generation) {
    m_synthesising = false;
    if (m_closed)
        return;
    if (!samples)
        m_options.log(u"✗ text-to-speech failed"_s, LineKind::bad);
    else if (generation == m_generation)
        m_playout.addSpeech(*samples);
    pumpSpeech();
}

void VoiceCall::beat() {
    tellSpeaking();
    const auto frame = m_playout.nextFrame();
    if (!frame || !m_media)
        return;
    std::array<std::uint8_t, Playout::FRAME_SAMPLES> sound;
    pcmToUlaw(*frame, sound.data());
    m_ws->sendFrame(Opcode::text, m_media->message(QByteArrayView(sound)));
}

void VoiceCall::tellSpeaking() {
    const bool speaking = m_playout.hasSpeech() || m_synthesising || !m_sentences.isEmpty();
    if (std::exchange(m_speaking, speaking) != speaking)
        m_options.onSpeaking(speaking);
}

// --- The computer's sound

void VoiceCall::share(bool on, bool announce) {
    if (m_closed || on == (m_capture != nullptr))
        return;
    if (on)
        return beginSharing(announce);
    stopSharing();
    m_options.log(u"♪ stopped sharing audio"_s, LineKind::call);
    if (announce)
        speak(u"Okay, stopped sharing."_s);
}

void VoiceCall::beginSharing(bool announce) {
    // What an earlier capture tells late is for nobody.
    const auto way = [to = this->way(), number = ++m_captures](std::move_only_function<void(VoiceCall &)> what) {
        to([number, what = std::move(what)](VoiceCall &self) mutable {
            if (self.m_capture && self.m_captures == number)
                what(self);
        });
    };
    m_capture = std::make_unique<AudioCapture>(AudioCapture::Options{
        .sampleRate = RATE,
        .onSamples =
            [way](const Samples &block) { way([block](VoiceCall &self) { self.m_playout.addShared(block); }); },
        .onStop =
            [way](const QString &message) {
                way([message](VoiceCall &self) {
                    self.m_options.log(u"✗ audio capture stopped: "_s + message, LineKind::bad);
                    self.stopSharing();
                });
            }});
    m_options.onSharingChange(true);
    m_options.log(u"♪ sharing this Mac's audio into the call"_s, LineKind::call);
    m_capture->start([way, announce](const Result<> &started) {
        if (!started)
            way([why = started.error().description, announce](VoiceCall &self) { self.sharingFailed(why, announce); });
    });
    if (announce)
        speak(u"Sharing the computer's audio again."_s);
}

void VoiceCall::sharingFailed(const QString &why, bool announce) {
    m_options.log(u"✗ couldn't capture the Mac's audio: "_s + why, LineKind::bad);
    stopSharing();
    if (announce)
        speak(u"Sorry, I couldn't capture the computer's audio."_s);
}

void VoiceCall::stopSharing() {
    m_capture.reset();
    m_playout.clearShared();
    m_options.onSharingChange(false);
}

// --- The end

void VoiceCall::end(Goodbye goodbye) {
    if (m_closed)
        return;
    if (m_callSid)
        sendUsage();
    share(false, false);
    m_closed = true;
    m_ended.request_stop();
    m_frames.stop();
    m_usage.stop();
    if (m_stt)
        m_stt->finish();
    m_stt.reset();
    if (goodbye == Goodbye::atOnce)
        m_ws->close();
    else
        closeSoon();
    m_options.log(u"☎ call from "_s + m_caller + u" ended"_s, LineKind::call);
    m_options.onEnd();
}

// Holds the connection and not the call, of which nothing stays.
void VoiceCall::closeSoon() {
    const auto timer = std::make_shared<Timer>();
    *timer = m_queue->after(LAST_WORDS, [timer, queue = m_queue, ws = m_ws] { ws->close(); });
}

} // namespace ombru
