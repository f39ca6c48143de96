// One phone call: what the caller says goes to recognition, what is recognised becomes requests, and the answers are
// spoken, 20 ms of sound at a time. The computer's own sound can be heard in it, too. A caller who talks over an answer
// cuts it off.
//
// Lives on a queue of its own, "ombru.call", where all of its callbacks come as well; the operations may be called from
// any thread. Whoever keeps it keeps the call; it lets go of nothing by itself but what it started.
#pragma once
#include "base/SerialQueue.h"
#include "voice/AudioCapture.h"
#include "voice/Deepgram.h"
#include "voice/FrameClock.h"
#include "voice/MediaStream.h"
#include "voice/Playout.h"
#include "voice/Recognition.h"

#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

namespace ombru {

class Inbox;
class WSConnection;

class VoiceCall : public std::enable_shared_from_this<VoiceCall> {
public:
    enum class LineKind { said, heard, call, bad };

    // Speaks the text; any thread. Nobody hears it once the call is over.
    using Say = std::function<void(const QString &text)>;

    struct Request {
        QString text;
        QString caller;
        std::optional<QString> callSid;
        Say progress;
        Say done; // an empty text is not spoken
    };

    struct Options {
        Deepgram speech;
        QString key; // of the speech service
        QString greeting;
        QString ttsModel;
        bool shareOnStart = false; // the computer's sound
        std::function<void(Request)> ask;
        std::function<void(const QString &line, LineKind kind)> log;
        std::function<void(const QString &caller)> onStart = [](const QString &) {};
        std::function<void()> onTalking = [] {}; // the caller is
        std::function<void(bool)> onSpeaking = [](bool) {};
        std::function<void(bool)> onSharingChange = [](bool) {};
        std::function<void()> onEnd = [] {}; // once
    };

    // Main thread. What the connection has said so far is heard first.
    static std::shared_ptr<VoiceCall> begin(std::shared_ptr<WSConnection> ws, Inbox &inbox, Options options);
    VoiceCall(std::shared_ptr<SerialQueue> queue, std::shared_ptr<WSConnection> ws, Options options); // by begin

    void setSharing(bool on, bool announce); // to the caller
    void hangUp(); // ends it, and the connection at once, before onEnd

private:
    enum class Goodbye { soon, atOnce };

    // To the call's queue, from any thread; what is on its way to a call that is gone is dropped.
    using Way = std::function<void(std::move_only_function<void(VoiceCall &)>)>;

    void handle(const QString &text);
    void take(const StreamConfig &config);
    void take(const StreamStart &start);
    void take(const StreamMedia &media);
    void take(const StreamStop &) { end(); }
    void connectSTT();
    void sttMessage(const QString &text);
    void sttFailed(const QString &description);
    void heard(const QString &transcript, bool isFinal);
    void flush();
    bool switchSharing(const QString &text);
    void ask(const QString &text);
    void bargeIn();
    void speak(const QString &text);
    void pumpSpeech();
    void synthesised(const std::optional<Samples> &samples, int generation);
    void beat();
    void tellSpeaking();
    void sendUsage();
    void share(bool on, bool announce);
    void beginSharing(bool announce);
    void sharingFailed(const QString &why, bool announce);
    void stopSharing();
    void end(Goodbye goodbye = Goodbye::soon);
    void closeSoon();
    Way way();

    const std::shared_ptr<SerialQueue> m_queue;
    const std::shared_ptr<WSConnection> m_ws;
    Options m_options; // a config message may replace some
    std::optional<QString> m_streamSid;
    std::optional<MediaTemplate> m_media; // as soon as the stream is known
    std::optional<QString> m_callSid;
    QString m_caller = QStringLiteral("phone");
    bool m_started = false;
    bool m_closed = false;

    std::unique_ptr<Recognition> m_stt;
    QStringList m_finals;    // of the current utterance
    double m_sttSeconds = 0; // of the caller's voice
    int m_ttsChars = 0;      // sent to synthesis
    int m_generation = 0;    // of answers; each barge-in begins another
    QStringList m_sentences; // that wait for synthesis, all of this generation
    bool m_synthesising = false;
    std::stop_source m_ended; // for a synthesis that runs
    bool m_speaking = false;  // as last told
    Playout m_playout;

    std::unique_ptr<AudioCapture> m_capture; // while sharing
    int m_captures = 0;                      // so many began

    FrameClock m_frames;
    FrameClock m_usage;
};

} // namespace ombru
