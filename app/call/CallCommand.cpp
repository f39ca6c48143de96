#include "app/call/CallCommand.h"

#include "app/call/WavFile.h"
#include "app/cli/Request.h"
#include "voice/Mulaw.h"
#include "voice/Wav.h"

#include <QFile>
#include <QFileInfo>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration BEAT = 20ms;
constexpr int BEATS_A_SECOND = 50;
constexpr qsizetype FRAME = 160; // bytes of mu-law
constexpr char SILENCE = '\xff';
constexpr int PAUSE = BEATS_A_SECOND;        // of the other side, before it is talked to
constexpr int GREETING = 8 * BEATS_A_SECOND; // it is talked to in any case after that
constexpr int FAILED = 1;
constexpr int WRONG_WORDS = 2;
constexpr int INTERRUPTED = 130;

QString answerFor(const CallOptions &options) {
    const QFileInfo file(options.file);
    return options.answer.isEmpty() && !options.file.isEmpty()
               ? file.path() + u'/' + file.completeBaseName() + u"-answer.wav"_s
               : options.answer;
}

} // namespace

Task<int> CallCommand::run() {
    if (const auto status = co_await getReady())
        co_return *status;
    const auto access = co_await findAccess();
    if (!access)
        co_return m_interrupted ? INTERRUPTED : FAILED;
    dial(*access);
    co_await m_over;
    m_timer.cancel();
    co_return finish();
}

Task<std::optional<int>> CallCommand::getReady() {
    if (!m_options.file.isEmpty())
        co_return readWords() ? std::nullopt : std::optional(WRONG_WORDS);
    m_live = std::make_unique<LiveSound>([this](const QString &why) {
        m_ended = u"the microphone or the speaker has gone: "_s + why;
        m_over.fire();
    });
    if (const auto opened = co_await m_live->open(); !opened) {
        m_terminal.complain(
            u"There is no microphone and speaker to talk with: %1. To say a file: ombru-call FILE.wav"_s.arg(
                opened.error().description));
        co_return FAILED;
    }
    co_return m_interrupted ? std::optional(INTERRUPTED) : std::nullopt;
}

bool CallCommand::readWords() {
    QFile file(m_options.file);
    if (!file.open(QFile::ReadOnly)) {
        m_terminal.complain(u"%1 cannot be read: %2."_s.arg(m_options.file, file.errorString()));
        return false;
    }
    m_words = pcmToUlaw(wavToPCM8k(file.readAll()));
    if (m_words.isEmpty())
        m_terminal.complain(u"%1 is no WAV file with 16-bit samples."_s.arg(m_options.file));
    return !m_words.isEmpty();
}

void CallCommand::interrupt() {
    m_interrupted = true;
    if (m_door)
        m_door->cancel();
    m_over.fire();
}

Task<std::optional<CallCommand::Access>> CallCommand::findAccess() {
    if (m_options.token)
        co_return Access{m_options.port, *m_options.token};
    m_door = Door::open();
    if (!m_door) {
        m_terminal.complain(u"The application does not run: start it with `ombru --headless`."_s);
        co_return std::nullopt;
    }
    std::optional<Access> access;
    co_await m_door->ask(request(CallAccessOptions{}), m_terminal, [this, &access](const QJsonObject &line) {
        const auto call = line["call"_L1].toObject();
        if (!call.isEmpty())
            access = Access{call["port"_L1].toInt(), call["token"_L1].toString()};
        show(m_terminal, line);
    });
    m_door.reset();
    co_return m_interrupted ? std::nullopt : access;
}

void CallCommand::dial(const Access &access) {
    m_phone = std::make_unique<PhoneProvider>(
        PhoneProvider::Options{.url = QUrl(u"ws://127.0.0.1:%1/media"_s.arg(access.port)),
                               .token = access.token,
                               .from = m_options.from,
                               .onOpen = [this] { opened(); },
                               .onClosed =
                                   [this](const QString &why) {
                                       m_ended = why.isEmpty() ? u"the application hung up"_s : why;
                                       m_over.fire();
                                   }});
}

void CallCommand::opened() {
    m_terminal.print(u"The call is open. Ctrl-C hangs up."_s);
    m_phone->connected();
    m_phone->start();
    m_next = Clock::now();
    beat();
}

void CallCommand::beat() {
    m_next += BEAT;
    m_timer = Loop::main().after(std::max(m_next - Clock::now(), Clock::Duration()), [this] { beat(); });
    ++m_beats;
    m_phone->media(m_live ? m_live->heard() : nextWords());
    auto sound = m_phone->play(FRAME);
    m_silence = sound.isEmpty() ? m_silence + 1 : 0;
    m_answered = m_answered || (m_said > 0 && !sound.isEmpty());
    const bool begun = m_said > 0 || !sound.isEmpty() || !m_heard.isEmpty();
    sound.append(FRAME - sound.size(), SILENCE);
    if (m_live)
        m_live->play(sound);
    if (begun && !answerFor(m_options).isEmpty())
        m_heard += sound;
    if (isOver()) {
        m_phone->stop();
        m_over.fire();
    }
}

// Whoever answers greets first, and would be cut off.
bool CallCommand::mayTalk() const {
    return m_said > 0 || m_beats > GREETING || (!m_heard.isEmpty() && m_silence > PAUSE);
}

QByteArray CallCommand::nextWords() {
    if (!mayTalk())
        return {FRAME, SILENCE};
    auto words = m_words.sliced(m_said, std::min(FRAME, m_words.size() - m_said));
    m_said += words.size();
    return words.append(FRAME - words.size(), SILENCE);
}

bool CallCommand::isOver() const {
    return !m_live && m_said == m_words.size() && m_silence > m_options.patience * BEATS_A_SECOND;
}

int CallCommand::finish() {
    m_phone->hangUp();
    if (m_beats == 0) { // it never was one
        if (!m_interrupted)
            m_terminal.complain(u"The call was not taken: "_s + m_ended);
        return m_interrupted ? INTERRUPTED : FAILED;
    }
    if (!m_ended.isEmpty())
        m_terminal.complain(u"The call has ended: "_s + m_ended);
    if (const auto status = keepAnswer())
        return *status;
    if (m_live)
        return m_interrupted ? 0 : FAILED; // that is how one ends
    if (m_interrupted)
        return INTERRUPTED;
    if (!m_answered)
        m_terminal.complain(u"Nothing was answered."_s);
    return m_answered ? 0 : FAILED;
}

std::optional<int> CallCommand::keepAnswer() {
    const auto place = answerFor(m_options);
    if (place.isEmpty())
        return {};
    if (const auto written = writeWav(place, m_heard); !written) {
        m_terminal.complain(written.error().description);
        return FAILED;
    }
    m_terminal.print(u"What was heard: "_s + place);
    return {};
}

} // namespace ombru
