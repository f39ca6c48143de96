// Calls: whether the sound of many comes in time, how soon a caller who talks over an answer silences it, and what a
// frame's message costs. The calls are real ones in a program of their own, and the speech service is a stand-in here;
// beside them others play the same number of frames. Usage: bench-calls [SECONDS [loaded|drift]], of each
// measurement; loaded: with as many threads beside it that do nothing but count as there are processors; drift: only
// ours and the least server.
#include "bench/Clients.h"
#include "bench/Race.h"
#include "bench/Served.h"
#include "tests/support/SpeechService.h"
#include "tests/support/WavFile.h"
#include "voice/MediaStream.h"
#include "voice/Mulaw.h"
#include "voice/Samples.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <future>
#include <thread>
#include <vector>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

using test::SpeechService;

constexpr int SECONDS = 10;
// Seconds of sound that there are before it is measured: a call whose sound has ended by then would seem late. Each
// second is 8 MB for 500 calls.
constexpr int UNTIL_ALL_SPEAK = 30;
constexpr int UNTIL_ALL_SPEAK_LOADED = 180;
constexpr int TALKERS = 50;

// What blocks runs beside the main thread, where the speech service is.
template <class Work>
auto beside(Work work) {
    QEventLoop loop;
    auto result = std::async(std::launch::async, [&loop, work = std::move(work)] {
        const QScopeGuard done([&loop] { QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection); });
        return work();
    });
    loop.exec();
    return result.get();
}

Samples tone(int seconds) {
    Samples samples(static_cast<std::size_t>(seconds) * RATE);
    for (std::size_t at = 0; at < samples.size(); ++at)
        samples[at] = static_cast<std::int16_t>(12'000 * std::sin(double(at) / 3));
    return samples;
}

// Keeps every processor busy for as long as it lives.
class Load {
public:
    Load() {
        for (unsigned number = 0; number < std::thread::hardware_concurrency(); ++number)
            m_threads.emplace_back([](const std::stop_token &stop) {
                for (volatile std::uint64_t count = 0; !stop.stop_requested();)
                    count = count + 1;
            });
    }

private:
    std::vector<std::jthread> m_threads;
};

// It speaks for so long to every sentence, and hears nobody.
void letSpeak(SpeechService &speech, int seconds) {
    speech.misbehave = [wav = test::wavOf(tone(seconds))](const test::AccountRequest &) {
        return test::AccountReply{.body = wav, .headers = "Content-Type: audio/wav\r\n"};
    };
}

void printCadence(const bench::ServerKind &kind, int calls, int seconds) {
    const bench::Served server(kind);
    double used = 0;
    const auto cadence = beside([&] {
        bench::Clients callers(server.port(), "/media", calls);
        callers.startCalls();
        const auto before = server.processorSeconds();
        const auto measured = callers.measure(std::chrono::seconds(seconds));
        used = (server.processorSeconds() - before) / seconds;
        return measured;
    });
    std::printf("| %d | %s | **%.2f** | %.2f | %.2f | %.1f | %+.2f | %.3f |\n", calls, kind.name.toUtf8().constData(),
                100 * cadence.share, bench::micros(cadence.half) / 1000, bench::micros(cadence.most) / 1000,
                bench::micros(cadence.worst) / 1000, bench::micros(cadence.drift) / 1000, used);
    std::fflush(stdout);
}

void printCadences(int seconds, int untilAllSpeak, bool onlyDrift) {
    SpeechService speech(SpeechService::Voice::tones);
    speech.refuse({.status = 403});
    letSpeak(speech, untilAllSpeak + seconds);
    std::printf("\n### The sound of calls, %d s each\n\n"
                "| calls | server | due frames sent, %% | late by, ms: p50 | p99 | max | drift, ms | cores |\n"
                "|---:|---|---:|---:|---:|---:|---:|---:|\n",
                seconds);
    auto kinds = bench::serverKinds(speech.base());
    if (onlyDrift)
        kinds.resize(2); // ours, and what this machine itself drifts by
    for (const int calls : onlyDrift ? std::vector{50, 200, 500} : std::vector{1, 50, 200, 500})
        for (const auto &kind : kinds)
            printCadence(kind, calls, seconds);
}

// One after the other is told that its caller talks.
std::vector<bench::Span> clears(SpeechService &speech, std::atomic<int> &cleared,
                                const std::vector<bench::Moment> &at) {
    std::vector<bench::Span> delays;
    for (const auto &listener : speech.listeners) {
        const auto before = cleared.load();
        const auto told = std::chrono::steady_clock::now();
        listener->results(u"Wait."_s, SpeechService::Listener::Finality::interim);
        while (cleared == before)
            QCoreApplication::processEvents();
        delays.push_back(at[static_cast<std::size_t>(before)] - told);
    }
    return delays;
}

void printBargeIn() {
    SpeechService speech(SpeechService::Voice::tones);
    letSpeak(speech, UNTIL_ALL_SPEAK);
    const bench::Served server(bench::serverKinds(speech.base()).front());
    std::vector<bench::Moment> at(TALKERS);
    std::atomic<int> cleared = 0;
    bench::Clients callers(server.port(), "/media", TALKERS);
    callers.onOther = [&](QByteArrayView text) {
        if (!text.contains("clear"))
            return;
        at[static_cast<std::size_t>(cleared.load())] = std::chrono::steady_clock::now();
        ++cleared;
    };
    beside([&] { callers.startCalls(); });
    while (speech.listeners.size() < TALKERS)
        QCoreApplication::processEvents();
    auto heard = std::async(std::launch::async, [&] { callers.listen([&] { return cleared < TALKERS; }); });
    auto delays = clears(speech, cleared, at);
    heard.get();
    std::printf("\nFrom a transcript to the clear on the wire, of %d calls that speak: p50 %.2f ms, max %.2f ms\n",
                TALKERS, bench::micros(bench::percentile(delays, 0.5)) / 1000,
                bench::micros(bench::percentile(delays, 1)) / 1000);
}

// --- The message of a frame

constexpr int ROUNDS = 51;
constexpr int FRAMES = 2'000;

void raceMessages() {
    const auto stream = u"MZ0123456789abcdef0123456789abcdef"_s;
    const auto sound = tone(FRAMES / 50);
    const auto codesOf = [&](int frame) {
        QByteArray codes(160, Qt::Uninitialized);
        pcmToUlaw(std::span(sound).subspan(static_cast<std::size_t>(frame) * 160, 160),
                  reinterpret_cast<std::uint8_t *>(codes.data()));
        return codes;
    };
    const auto contestant = [&](const char *name, double aim, auto message) {
        return bench::Contestant{name,
                                 [codesOf, message] {
                                     qsizetype size = 0;
                                     for (int frame = 0; frame < FRAMES; ++frame)
                                         size += message(codesOf(frame)).size();
                                     if (size < FRAMES * 216)
                                         bench::fail("a frame is not whole");
                                 },
                                 aim};
    };
    const MediaTemplate media(stream);
    bench::race("The messages of 2,000 frames from their samples", ROUNDS,
                {contestant("MediaTemplate", 0, [&](const QByteArray &codes) { return media.message(codes); }),
                 contestant("Qt's JSON", 10, [&](const QByteArray &codes) {
                     const QJsonObject payload{{u"payload"_s, QString::fromLatin1(codes.toBase64())}};
                     const QJsonObject message{
                         {u"event"_s, u"media"_s}, {u"streamSid"_s, stream}, {u"media"_s, payload}};
                     return QJsonDocument(message).toJson(QJsonDocument::Compact);
                 })});
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    bench::raiseDescriptorLimit();
    const auto seconds = argc > 1 ? QByteArrayView(argv[1]).toByteArray().toInt() : SECONDS;
    const QByteArrayView mode = argc > 2 ? argv[2] : "";
    if (mode.isEmpty())
        raceMessages();
    std::optional<Load> load;
    if (mode == "loaded")
        load.emplace();
    if (mode != "drift")
        printBargeIn();
    printCadences(seconds, load ? UNTIL_ALL_SPEAK_LOADED : UNTIL_ALL_SPEAK, mode == "drift");
}
