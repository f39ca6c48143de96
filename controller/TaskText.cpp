#include "controller/TaskText.h"

#include "base/Text.h"

#include <QRegularExpression>
#include <QStringTokenizer>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype HEADLINE_LENGTH = 140;
constexpr qsizetype LONGEST_LABEL = 40;
constexpr qsizetype MOST_BLOCKS = 5;
constexpr qsizetype RESULT_LENGTH = 4000;
constexpr qsizetype RESULT_BYTES = 64 << 10; // the message is one argument, and the system takes 128 KiB for one

QRegularExpression expression(const QString &pattern, QRegularExpression::PatternOptions options = {}) {
    return QRegularExpression(pattern, options | QRegularExpression::UseUnicodePropertiesOption);
}

// A fenced script in a reply.
struct Block {
    qsizetype start;
    QStringView script; // with the white space around it
    qsizetype end;
};

// The size of the tag of a script with the line end behind it; 0 when none is there.
qsizetype openingSize(QStringView text) {
    for (const QStringView tag : {u"applescript", u"osascript", u"as"}) {
        if (!text.startsWith(tag, Qt::CaseInsensitive))
            continue;
        qsizetype size = 0;
        for (auto at = tag.size(); at < text.size() && text[at].isSpace(); ++at)
            size = text[at] == u'\n' ? at + 1 : size;
        return size;
    }
    return 0;
}

// The first block from there on: "```(?:applescript|osascript|as)\s*\n(.*?)```" in any case, over line ends. Not by
// that expression, which gives up on a reply of many megabytes as if it had no script.
std::optional<Block> nextBlock(QStringView reply, qsizetype from) {
    static constexpr QStringView FENCE = u"```";
    for (auto start = reply.indexOf(FENCE, from); start >= 0; start = reply.indexOf(FENCE, start + 1)) {
        const auto tag = start + FENCE.size();
        const auto opening = openingSize(reply.sliced(tag));
        if (opening == 0)
            continue;
        const auto end = reply.indexOf(FENCE, tag + opening);
        if (end < 0)
            return std::nullopt; // nor does a later one end
        return Block{start, reply.sliced(tag + opening, end - tag - opening), end + FENCE.size()};
    }
    return std::nullopt;
}

// The blocks of a reply without a script, each kind once.
QStringList otherBlocks(QStringView reply) {
    QStringList found;
    const auto add = [&](const QString &what) {
        const auto line = u"The reply has a block %1: nothing of it was run."_s.arg(what);
        if (!found.contains(line) && found.size() < MOST_BLOCKS)
            found.append(line);
    };
    QStringView open; // the fence of the block that is being read
    for (const auto whole : QStringTokenizer(reply, u'\n')) {
        const auto line = whole.trimmed();
        const auto fence = line.first(std::min<qsizetype>(3, line.size()));
        if (fence != u"```" && fence != u"~~~")
            continue;
        if (!open.isEmpty()) {
            open = fence == open ? QStringView() : open;
            continue;
        }
        open = fence;
        const auto label = line.sliced(3).trimmed().toString();
        if (fence == u"~~~")
            add(u"fenced with \"~~~\""_s);
        else if (openingSize(line.sliced(3).toString() + u'\n') > 0)
            add(u"that is not closed"_s);
        else
            add(label.isEmpty() ? u"without a label"_s : u"labelled \"%1\""_s.arg(shownLine(label, LONGEST_LABEL)));
    }
    return found;
}

} // namespace

SplitReply splitReply(const QString &reply) {
    SplitReply split;
    int scripts = 0;
    qsizetype taken = 0;
    while (const auto block = nextBlock(reply, taken)) {
        if (++scripts == 1)
            split.script = block->script.trimmed().toString();
        split.prose += QStringView(reply).sliced(taken, block->start - taken);
        taken = block->end;
    }
    split.prose += QStringView(reply).sliced(taken);
    split.prose = split.prose.trimmed();
    if (scripts > 1)
        split.notRun = {u"The reply has %1 scripts: only the first is run."_s.arg(scripts)};
    if (scripts == 0)
        split.notRun = otherBlocks(reply);
    return split;
}

QString plainStep(const QString &prose) {
    static const auto sentenceEnd = expression(u"[.!?](\\s|$)"_s);
    QString line;
    for (const auto candidate : QStringView(prose).split(u'\n')) {
        line = candidate.trimmed().toString();
        if (!line.isEmpty())
            break;
    }
    line.remove(u"**"_s).remove(u'`');
    if (const auto match = sentenceEnd.match(line); match.hasMatch())
        line.truncate(match.capturedEnd());
    line = line.trimmed();
    if (characterCount(line) > HEADLINE_LENGTH)
        line = firstCharacters(line, HEADLINE_LENGTH - 1) + u"…"_s;
    return line;
}

FinalReply readFinalReply(const QString &reply) {
    FinalReply final;
    QString text = reply;
    final.done = reply.first(std::min<qsizetype>(5, reply.size())).toUpper() == u"DONE:"_s;
    if (final.done)
        text = text.sliced(5).trimmed();
    final.shown = text.isEmpty() ? u"(no reply)"_s : text;
    final.answer = text.isEmpty() ? u"Done."_s : text;
    return final;
}

QString turnMessage(const QString &head, int step, const QString &screenshot, QSize image, QSize screen) {
    const auto factor = [](int points, int pixels) { return QString::number(double(points) / pixels, 'f', 3); };
    return QStringList{
        head,
        u"Screenshot (step "_s + QString::number(step) + u"): "_s + screenshot,
        u"Image size: "_s + QString::number(image.width()) + u"x"_s + QString::number(image.height()) + u" px."_s,
        u"Screen size: "_s + QString::number(screen.width()) + u"x"_s + QString::number(screen.height()) +
            u" points. To convert image px -> screen points multiply x by "_s + factor(screen.width(), image.width()) +
            u" and y by "_s + factor(screen.height(), image.height()) + u"."_s,
    }
        .join(u'\n');
}

QString resultHead(bool ok, const QString &output) {
    return u"Result of your last AppleScript ("_s + (ok ? u"success"_s : u"failure"_s) + u"):\n"_s +
           firstBytes(firstCharacters(output, RESULT_LENGTH), RESULT_BYTES);
}

QString skippedText(const QString &word) {
    const auto skipped = u"Not run: the user looked at this script and skipped it"_s;
    return word.isEmpty() ? skipped + u". Do it another way, or say why it is needed."_s
                          : skipped + u", saying: "_s + word;
}

QString automationAdvice(bool denied) {
    return denied ? u"turn it on in System Settings → Privacy & Security → Automation → ombru"_s
                  : u"click Allow next to it in the ombru menu bar"_s;
}

QString refusedHead(const QString &names, const QString &advice) {
    return u"Result of your last AppleScript (failure):\nNot run: macOS hasn't allowed ombru to control "_s + names +
           u" yet. Tell the user "_s + names + u" needs to be allowed ("_s + advice +
           u"). If the task can be done without scripting "_s + names +
           u" directly — e.g. by clicking and typing through System Events — you may do that instead."_s;
}

bool isAutomationRefusal(const QString &output) {
    return output.contains(u"-1743"_s) ||
           output.contains(u"not authorized to send apple events"_s, Qt::CaseInsensitive);
}

QStringList refusedApplications(const QString &output) {
    // The name may have full stops of its own.
    static const QRegularExpression refusal(
        u"not authorized to send apple events to (.+?)\\.(?: The owner | ?\\(-1743\\))"_s,
        QRegularExpression::CaseInsensitiveOption);
    QStringList names;
    for (const auto &match : refusal.globalMatch(output))
        names += match.captured(1);
    names.removeDuplicates();
    return names;
}

QString errorHeadline(const QString &output) {
    const auto marker = u"execution error: "_s;
    const auto at = output.indexOf(marker);
    return firstCharacters(firstLine(at < 0 ? output : output.sliced(at + marker.size())), HEADLINE_LENGTH);
}

QString desktopInUseText() {
    return u"Another task is running on this desktop. Wait for it, or stop it with Ctrl-C where it was started."_s;
}

QString finishTitle(const QString &answer) {
    if (answer == u"Okay, stopped."_s)
        return u"Stopped"_s;
    return answer.startsWith(u"Sorry"_s) ? u"Something went wrong"_s : u"Done ✓"_s;
}

QString secondsText(double seconds) {
    return QString::number(seconds, 'f', 1);
}

} // namespace ombru
