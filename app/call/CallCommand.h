// ombru-call: places a call to the application on this computer, as a telephony provider does. What is said is what a
// file holds, and the answer is kept; or it is live, with this computer's microphone and speaker. Main thread.
#pragma once
#include "app/call/LiveSound.h"
#include "app/call/PhoneProvider.h"
#include "app/cli/Door.h"
#include "app/cli/Terminal.h"
#include "voice/Samples.h"

#include <memory>
#include <optional>

namespace ombru {

struct CallOptions {
    QString file;   // what to say: a WAV of 16 bits; empty: a live call
    QString answer; // where to keep what comes back; empty: beside the file, and of a live call nowhere
    QString from = QStringLiteral("ombru-call");
    std::optional<QString> token; // else the application is asked for it
    int port = 8765;              // with a token
    int patience = 20;            // seconds of silence after which it hangs up
};

class CallCommand {
public:
    explicit CallCommand(CallOptions options) : m_options(std::move(options)) {}

    Task<int> run(); // 0 when there was an answer
    void interrupt();

private:
    struct Access {
        int port;
        QString token;
    };
    Task<std::optional<int>> getReady(); // the status when it cannot
    bool readWords();
    Task<std::optional<Access>> findAccess();
    void dial(const Access &access);
    void opened();
    void beat();
    bool mayTalk() const;
    QByteArray nextWords();
    bool isOver() const;
    int finish();
    std::optional<int> keepAnswer(); // the status when it cannot

    CallOptions m_options;
    Terminal m_terminal;
    std::unique_ptr<Door> m_door;
    std::unique_ptr<PhoneProvider> m_phone;
    std::unique_ptr<LiveSound> m_live;
    QByteArray m_words; // mu-law
    qsizetype m_said = 0;
    QByteArray m_heard; // mu-law, from the first word on, silences included
    int m_beats = 0;
    int m_silence = 0; // beats
    bool m_answered = false;
    bool m_interrupted = false;
    QString m_ended; // why, when the other side did
    Clock::Time m_next;
    Timer m_timer;
    Completion m_over;
};

} // namespace ombru
