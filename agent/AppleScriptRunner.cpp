#include "agent/AppleScriptRunner.h"

#include "agent/ScriptMarker.h"
#include "base/Text.h"
#include "platform/Keeper.h"
#include "platform/ScriptTool.h"

#include <cmath>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

const QByteArray MARKER_BYTES = MARKER.toUtf8();

// The number after the marker, for a line that is nothing else; as strict as the marker's writer.
std::optional<int> markedLine(const QString &line) {
    const auto number = QStringView(line).sliced(MARKER.size());
    const auto digits = number.startsWith(u'+') || number.startsWith(u'-') ? number.sliced(1) : number;
    const bool allDigits = std::ranges::all_of(digits, [](QChar unit) { return unit >= u'0' && unit <= u'9'; });
    bool isNumber = false;
    const int value = number.toInt(&isNumber);
    return allDigits && isNumber ? std::optional(value) : std::nullopt;
}

// The error stream of a running script: its log, and the markers in it.
class ScriptLog {
public:
    explicit ScriptLog(AppleScriptRunner::LineReached onLine) : m_onLine(std::move(onLine)) {}

    void add(QByteArrayView piece) {
        m_rest += piece;
        qsizetype start = 0;
        for (auto end = m_rest.indexOf('\n', m_searched); end >= 0; end = m_rest.indexOf('\n', start)) {
            take(QByteArrayView(m_rest).sliced(start, end - start));
            start = end + 1;
        }
        m_rest.remove(0, start);
        m_searched = m_rest.size();
    }

    bool markerSeen() const { return m_markerSeen; }

    // All lines without those that begin with the marker. What came last without a line end is a line too, but a
    // marker there is not reported: the script may have died while it wrote it.
    QString text() {
        if (!m_rest.startsWith(MARKER_BYTES))
            m_text += m_rest;
        m_rest.clear();
        return repairedUtf8(m_text).trimmed();
    }

private:
    // There may be millions of lines: only what is marked is looked at as text.
    void take(QByteArrayView line) {
        if (!line.startsWith(MARKER_BYTES)) {
            m_text.append(line).append('\n');
        } else if (const auto number = markedLine(repairedUtf8(line))) {
            m_markerSeen = true;
            m_onLine(*number);
        }
    }

    AppleScriptRunner::LineReached m_onLine;
    QByteArray m_rest; // the line that has not ended yet
    qsizetype m_searched = 0;
    QByteArray m_text;
    bool m_markerSeen = false;
};

struct RawOutcome {
    AppleScriptRunner::Outcome outcome;
    bool markerSeen = false;
};

Process::Command command(const QString &script, std::shared_ptr<ScriptLog> log) {
    Process::Command result{.program = osascriptPath(),
                            .arguments = {u"-"_s},
                            .inherited = osascriptInherits(),
                            .afterForcedEnd = inputReleasePath()};
    // Half a character cannot be written; then nothing is.
    result.input = script.isValidUtf16() ? script.toUtf8() : QByteArray();
    result.onErrors = [log = std::move(log)](QByteArrayView piece) { log->add(piece); };
    return result;
}

AppleScriptRunner::Outcome outcome(Process &process, const QString &log, const QString &script) {
    if (process.overflowed())
        return {false, u"Script printed more than %1 MB and was ended."_s.arg(process.outputLimit() >> 20)};
    const auto output = repairedUtf8(process.takeOutput()).trimmed();
    if (process.status() != 0)
        return {false, u"Error (exit "_s + QString::number(process.status()) + u"): "_s +
                           AppleScriptRunner::remapErrorOffsets(log, script) + u'\n' + output};
    QString text = output.isEmpty() ? u"(no output)"_s : output;
    if (!log.isEmpty())
        text += u"\nlog:\n"_s + log;
    return {true, text};
}

Task<RawOutcome> runOsascript(QString script, double timeout, std::shared_ptr<AppleScriptRunner::Run> handle,
                              AppleScriptRunner::LineReached onLine) {
    const auto log = std::make_shared<ScriptLog>(std::move(onLine));
    const auto process = Process::make(command(script, log));
    if (const auto started = process->start(); !started)
        co_return RawOutcome{{false, u"couldn't start osascript: "_s + started.error().description}};
    handle->process = process;

    const auto timedOut = std::make_shared<bool>(false);
    const auto limit = Loop::main().after(Clock::seconds(timeout), [timedOut, weak = std::weak_ptr(process)] {
        const auto running = weak.lock();
        if (!running || !running->isRunning())
            return;
        *timedOut = true;
        running->terminate();
    });
    co_await process->ended();

    if (*timedOut) {
        const auto seconds = QString::number(std::trunc(timeout), 'f', 0);
        co_return RawOutcome{{false, u"Script timed out after "_s + seconds + u"s."_s, process->left()},
                             log->markerSeen()};
    }
    RawOutcome result{outcome(*process, log->text(), script), log->markerSeen()};
    result.outcome.left = process->left();
    co_return result;
}

void ignoreLine(int) {}

} // namespace

void AppleScriptRunner::Run::cancel() const {
    if (process)
        process->terminate();
}

Task<AppleScriptRunner::Outcome> AppleScriptRunner::run(QString script, double timeout, std::shared_ptr<Run> handle) {
    const auto raw = co_await runOsascript(std::move(script), timeout, std::move(handle), ignoreLine);
    co_return raw.outcome;
}

Task<AppleScriptRunner::Outcome> AppleScriptRunner::execute(QString script, double timeout, double delay,
                                                            std::shared_ptr<Run> handle, LineReached onLine) {
    const auto instrumented = instrument(script, delay).text;
    const auto raw = co_await runOsascript(instrumented, timeout, handle, std::move(onLine));
    // An error before the first marker is most likely the markers' own; the script as written has the last word.
    if (!raw.outcome.ok && !raw.markerSeen && raw.outcome.text.contains(u"syntax error"_s))
        co_return co_await run(std::move(script), timeout, std::move(handle));
    co_return raw.outcome;
}

} // namespace ombru
