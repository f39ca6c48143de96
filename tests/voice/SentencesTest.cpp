#include "voice/Sentences.h"

#include "tests/support/Wait.h"

using namespace ombru;
using namespace Qt::StringLiterals;

TEST(Sentences, AnAnswerIsCutAfterEachMarkAndTheRestIsTheLastOne) {
    EXPECT_EQ(sentencesOf(u"It is done. Look! And the rest"_s),
              QStringList({u"It is done."_s, u"Look!"_s, u"And the rest"_s}));
    EXPECT_EQ(sentencesOf(u"Really? Yes.\nA line\nanother"_s),
              QStringList({u"Really?"_s, u"Yes."_s, u"A line"_s, u"another"_s}));
}

TEST(Sentences, EveryPointCutsAlsoWithinANumber) {
    EXPECT_EQ(sentencesOf(u"It is 3.5 metres"_s), QStringList({u"It is 3."_s, u"5 metres"_s}));
    EXPECT_EQ(sentencesOf(u"Well..."_s), QStringList({u"Well."_s, u"."_s, u"."_s}));
}

TEST(Sentences, WhiteSpaceAroundThemGoesAndEmptyOnesAreNone) {
    EXPECT_EQ(sentencesOf(u" \n\r\n  One. \t Two \n"_s), QStringList({u"One."_s, u"Two"_s}));
    EXPECT_EQ(sentencesOf(u""_s), QStringList());
    EXPECT_EQ(sentencesOf(u" \n "_s), QStringList());
}
