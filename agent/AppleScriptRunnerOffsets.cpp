// Error positions: from the script that was run to the script as written.
#include "agent/AppleScriptRunner.h"

#include <QRegularExpression>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

qint64 codePoints(QStringView text) {
    return text.size() - std::ranges::count_if(text, [](QChar unit) { return unit.isLowSurrogate(); });
}

// Where the lines of a script end, and how much of what stands before each was inserted.
class Positions {
public:
    explicit Positions(const QString &script) {
        qint64 position = 0;
        qint64 removed = 0;
        for (const auto &line : script.split(u'\n')) {
            const auto length = codePoints(line);
            m_lines.push_back({position + length, removed});
            if (AppleScriptRunner::matches(line, uR"(^\s*tell me to (log "§L\d+"|delay [\d.e-]+)$)"_s))
                removed += length + 1;
            position += length + 1;
        }
        m_removed = removed;
    }

    qint64 mapped(qint64 position) const {
        const auto line = std::ranges::lower_bound(m_lines, position, {}, &Line::end);
        return position - (line == m_lines.end() ? m_removed : line->removedBefore);
    }

private:
    struct Line {
        qint64 end;
        qint64 removedBefore;
    };
    std::vector<Line> m_lines;
    qint64 m_removed = 0;
};

} // namespace

QString AppleScriptRunner::remapErrorOffsets(const QString &text, const QString &scriptThatRan) {
    // As the tool writes numbers: what a script logs, "09:05: lunch" say, keeps its zeros.
    static const QRegularExpression prefix(uR"(^(0|[1-9]\d*):(0|[1-9]\d*):)"_s, QRegularExpression::MultilineOption);
    const Positions positions(scriptThatRan);
    QString result;
    qsizetype copied = 0;
    for (auto found = prefix.globalMatch(text); found.hasNext();) {
        const auto match = found.next();
        bool startIsNumber = false;
        bool endIsNumber = false;
        const auto start = match.capturedView(1).toLongLong(&startIsNumber);
        const auto end = match.capturedView(2).toLongLong(&endIsNumber);
        if (!startIsNumber || !endIsNumber)
            continue;
        result += QStringView(text).sliced(copied, match.capturedStart() - copied);
        result += u"%1:%2:"_s.arg(positions.mapped(start)).arg(positions.mapped(end));
        copied = match.capturedEnd();
    }
    result += QStringView(text).sliced(copied);
    return result;
}

} // namespace ombru
