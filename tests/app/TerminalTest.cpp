#include "app/cli/Terminal.h"

#include "app/cli/EventPrinter.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

TEST(Printable, ShowsControlCharactersInsteadOfObeyingThem) {
    EXPECT_EQ(printable(u"a\033[2Jb\a\u007f"_s), u"a␛[2Jb␇␡"_s);
    EXPECT_EQ(printable(u"\u009b31m"_s), u"\uFFFD31m"_s);
}

TEST(Printable, ShowsWhatNobodySeesAndWhatTurnsOthersRound) {
    EXPECT_EQ(printable(u"rm \u202Etxt.exe\u200B"_s), u"rm «U+202E»txt.exe«U+200B»"_s);
    EXPECT_EQ(printable(u"a\u200Db"_s), u"a«U+200D»b"_s);
    const auto written = u"می\u200Cخواهم ☎\uFE0E 👩\u200D💻 l’été\u00A0!"_s;
    EXPECT_EQ(printable(written), written);
}

TEST(Printable, KeepsLinesAndTabsAndTurnsEveryLineEndIntoOne) {
    EXPECT_EQ(printable(u"a\tb\nc\r\nd\re"_s), u"a\tb\nc\nd\ne"_s);
}

TEST(FitColumns, CutsOnlyWhatDoesNotFit) {
    EXPECT_EQ(fitColumns(u"abc"_s, 3), u"abc"_s);
    EXPECT_EQ(fitColumns(u"abcd"_s, 3), u"ab…"_s);
    EXPECT_EQ(fitColumns({}, 3), QString());
}

TEST(FitColumns, CountsWideCharactersTwice) {
    const Terminal terminal; // sets the locale that knows widths
    EXPECT_EQ(fitColumns(u"日本語"_s, 6), u"日本語"_s);
    EXPECT_EQ(fitColumns(u"日本語"_s, 5), u"日本…"_s);
}

TEST(EventPrinter, AnEventIsOneLineOfJson) {
    EXPECT_EQ(jsonLine({EventKind::bad, u"a\nb \"c\""_s, 1.5}),
              "{\"kind\":\"bad\",\"text\":\"a\\nb \\\"c\\\"\",\"ts\":1.5}");
}

TEST(EventPrinter, KindsAreToldApartByColour) {
    EXPECT_NE(colourOf(EventKind::good), colourOf(EventKind::bad));
    EXPECT_NE(colourOf(EventKind::code), colourOf(EventKind::claude));
    EXPECT_NE(colourOf(EventKind::dim), colourOf(EventKind::result));
}
