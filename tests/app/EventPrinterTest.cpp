#include "app/cli/EventPrinter.h"

#include "platform/SystemLog.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

QString shown(EventKind kind, const QString &text) {
    return terminalText({kind, text, 0});
}

QStringList numbers(int count) {
    QStringList lines;
    for (int number = 1; number <= count; ++number)
        lines.append(QString::number(number));
    return lines;
}

} // namespace

TEST(TerminalText, FurtherLinesPassForNoneOfOurs) {
    EXPECT_EQ(shown(EventKind::result, u"✓ script ok (0.1s): a\n✓ done\r\n── step 9/9\rb"_s),
              u"✓ script ok (0.1s): a\n  ✓ done\n  ── step 9/9\n  b"_s);
    EXPECT_EQ(shown(EventKind::good, u"✓ one\ntwo"_s), u"✓ one\n  two"_s);
}

TEST(TerminalText, OfALongOutputTheBeginningAndTheEndAreShown) {
    EXPECT_EQ(shown(EventKind::result, numbers(40).join(u'\n')).count(u'\n'), 39);
    for (const auto kind : {EventKind::result, EventKind::bad}) {
        const auto lines = shown(kind, numbers(1000).join(u'\n')).split(u'\n');
        ASSERT_EQ(lines.size(), 31);
        EXPECT_EQ(lines[19], u"  20"_s);
        EXPECT_EQ(lines[20], u"  … 970 more lines are in the log: "_s + logCommand());
        EXPECT_EQ(lines[21], u"  991"_s);
        EXPECT_EQ(lines[30], u"  1000"_s);
    }
}

TEST(TerminalText, ALongLineIsCutToo) {
    const auto line = shown(EventKind::result, QString(5000, u'x'));
    EXPECT_EQ(line, QString(2000, u'x') + u"… 3000 more characters are in the log: "_s + logCommand());
}

TEST(TerminalText, AScriptIsShownWhole) {
    const auto script = u"script:\n"_s + numbers(1000).join(u'\n') + QString(5000, u'x');
    EXPECT_EQ(shown(EventKind::code, script).remove(u"  "_s), script);
}
