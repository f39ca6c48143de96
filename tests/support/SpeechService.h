// A stand-in for the speech service on the loopback. It speaks: really, by espeak-ng, or in tones, which cost nothing.
// And it listens: what it makes of a caller's sound is the test's, keyed on the sound that has really arrived. Main
// thread; ends with the object.
#pragma once
#include "tests/support/AccountService.h"

#include <QStringList>
#include <QTemporaryDir>
#include <QUrlQuery>

namespace ombru::test {

class SpeechService {
public:
    enum class Voice { speech, tones };

    // One recognition: a caller's end of it, and what has arrived.
    class Listener {
    public:
        explicit Listener(AccountService::Channel &channel) : m_channel(channel) {}

        const AccountRequest &request() const { return m_channel.request; }
        bool isGone() const { return m_channel.gone; }

        QByteArray audio; // mu-law
        QList<QByteArray> texts;
        std::optional<int> closeCode;
        bool closedStream() const { return texts.contains(R"({"type": "CloseStream"})"); }

        // By the energy of each 20 ms: whether there was speech yet, and the silence since it.
        bool heardSpeech() const { return m_heardSpeech; }
        int silence() const { return m_silence; } // milliseconds

        enum class Finality { interim, final, speechFinal };
        void results(const QString &transcript, Finality finality);
        void utteranceEnd();

        // Whatever else: garbage, binary messages, a close frame, the end of the line.
        void send(const ChannelFrame &frame) { m_channel.send(frame); }
        void close(int code, const QByteArray &reason = {});
        void hangUp() { m_channel.hangUp(); }

        // What comes fills the line's own memory, and waits there.
        void stopReading() { m_channel.socket->setReadBufferSize(1); }
        void readOn();

    private:
        friend class SpeechService;
        void hear(const QByteArray &bytes);

        AccountService::Channel &m_channel;
        qsizetype m_measured = 0; // bytes of the sound
        bool m_heardSpeech = false;
        int m_silence = 0;
        bool m_interim = false; // told of this utterance
        bool m_final = false;
    };

    explicit SpeechService(Voice voice = Voice::speech, quint16 port = 0,
                           const std::optional<QSslConfiguration> &encryption = {});

    QString base() const { return m_service.base(); }

    // --- Speaking

    // Each request, in the order they came; what it is to say, and what it has in its query.
    const std::vector<AccountRequest> &requests() const { return m_service.requests; }
    QString textOf(std::size_t number) const;
    QUrlQuery queryOf(std::size_t number) const;

    // In place of speech, while it is set: none speaks after all.
    std::function<std::optional<AccountReply>(const AccountRequest &)> misbehave;

    // Replies wait for answer(), so that they can be late, and come in another order.
    bool holds = false;
    void answer(std::size_t number);
    bool isWaitedFor(std::size_t number) const { return m_service.isWaitedFor(number); }

    // What it speaks to that request, always the same.
    AccountReply speech(const AccountRequest &request);

    // --- Listening

    std::vector<std::unique_ptr<Listener>> listeners; // in the order they came
    Listener &newest() { return *listeners.back(); }

    // After each piece of sound. As it comes: each utterance, of whichever caller, is the next of `utterances`; its
    // first word is told at once, all of it after 300 ms of silence, and its end after a second.
    std::function<void(Listener &)> onAudio = [this](Listener &listener) { hearUtterance(listener); };
    QStringList utterances;

    // What becomes of who wants to be listened to.
    void refuse(const AccountReply &reply);
    void stall() { m_service.manner = AccountService::Manner::stalls; }
    std::size_t visits() const { return m_service.channels.size(); } // those that were not answered included
    bool isDeserted() const;                                         // nobody is there, or nobody is any more

private:
    AccountReply reply(const AccountRequest &request);
    QByteArray spoken(const QString &text, int rate);
    void receive(AccountService::Channel &channel);
    void hearUtterance(Listener &listener);

    Voice m_voice;
    QTemporaryDir m_directory;
    AccountService m_service;
};

} // namespace ombru::test
