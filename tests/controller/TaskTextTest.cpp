#include "controller/TaskText.h"

#include "base/Text.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

TEST(SplitReply, AReplyWithoutABlockHasNoScript) {
    const auto split = splitReply(u" Just words. \n"_s);
    EXPECT_FALSE(split.script);
    EXPECT_EQ(split.prose, u"Just words."_s);
}

TEST(SplitReply, OnlyTheFirstOfTwoBlocksIsTheScriptAndBothLeaveTheProse) {
    const auto split = splitReply(u"First.\n```applescript\nbeep 1\n```\nThen.\n```applescript\nbeep 2\n```\nEnd."_s);
    EXPECT_EQ(split.script, u"beep 1"_s);
    EXPECT_EQ(split.prose, u"First.\n\nThen.\n\nEnd."_s);
}

TEST(SplitReply, TheTagMayBeShortAndInAnyCase) {
    EXPECT_EQ(splitReply(u"```AppleScript\nx\n```"_s).script, u"x"_s);
    EXPECT_EQ(splitReply(u"```osascript \t\nx\n```"_s).script, u"x"_s);
    EXPECT_EQ(splitReply(u"```AS\nx\n```"_s).script, u"x"_s);
    EXPECT_FALSE(splitReply(u"```bash\nx\n```"_s).script);
    EXPECT_FALSE(splitReply(u"```ascript\nx\n```"_s).script);
}

TEST(SplitReply, WindowsLineEndsAreLineEnds) {
    const auto split = splitReply(u"Go.\r\n```applescript\r\ntell me\r\nend\r\n```\r\n"_s);
    EXPECT_EQ(split.script, u"tell me\r\nend"_s);
    EXPECT_EQ(split.prose, u"Go."_s);
}

TEST(SplitReply, AnEmptyBlockIsAnEmptyScript) {
    const auto split = splitReply(u"```applescript\n\n```"_s);
    ASSERT_TRUE(split.script);
    EXPECT_EQ(*split.script, QString());
}

TEST(SplitReply, AnUnfinishedBlockIsNoScript) {
    EXPECT_FALSE(splitReply(u"```applescript\nbeep"_s).script);
}

TEST(SplitReply, WhatIsNotRunIsNamed) {
    const auto notes = [](const QString &reply) { return splitReply(reply).notRun.join(u'|'); };
    EXPECT_EQ(notes(u"Just words."_s), QString());
    EXPECT_EQ(notes(u"Go.\n```applescript\nbeep\n```\nand\n```bash\nls\n```"_s), QString());
    EXPECT_EQ(notes(u"```applescript\nbeep 1\n```\n```as\nbeep 2\n```"_s),
              u"The reply has 2 scripts: only the first is run."_s);
    EXPECT_EQ(notes(u"Go.\n```AppleScript\nbeep"_s),
              u"The reply has a block that is not closed: nothing of it was run."_s);
    EXPECT_EQ(notes(u"~~~applescript\nbeep\n~~~"_s),
              u"The reply has a block fenced with \"~~~\": nothing of it was run."_s);
    EXPECT_EQ(notes(u"```bash\nls\n```\nthen\n```\nx\n```\n```bash\ncd\n```"_s),
              u"The reply has a block labelled \"bash\": nothing of it was run.|"
              u"The reply has a block without a label: nothing of it was run."_s);
    EXPECT_EQ(notes(u"  ```scpt\r\nbeep\r\n```"_s),
              u"The reply has a block labelled \"scpt\": nothing of it was run."_s);
    EXPECT_LE(splitReply(u"```%1\n```\n"_s.repeated(100)).notRun.size(), 5);
}

TEST(SplitReply, FiveMillionCharactersAreNoTrouble) {
    const QString script = u"return \""_s + QString(5'000'000, u'x') + u"\""_s;
    const auto split = splitReply(u"Big.\n```applescript\n"_s + script + u"\n```"_s);
    EXPECT_EQ(split.script, script);
    EXPECT_EQ(split.prose, u"Big."_s);
    EXPECT_EQ(splitReply(QString(5'000'000, u'x')).prose.size(), 5'000'000);
    EXPECT_FALSE(splitReply(u"```as"_s + QString(1'000'000, u' ')).script);
}

TEST(SplitReply, AScriptInAReplyOfTwentyMegabytesIsRead) {
    const QString script = u"return \""_s + QString(20'000'000, u'x') + u"\""_s;
    const auto split = splitReply(u"Big.\n```applescript\n"_s + script + u"\n```\nEnd."_s);
    ASSERT_TRUE(split.script);
    EXPECT_EQ(split.script->size(), script.size());
    EXPECT_EQ(split.prose, u"Big.\n\nEnd."_s);
}

TEST(SplitReply, AFenceIsFoundAmongOthers) {
    EXPECT_EQ(splitReply(u"````as\nx\n````"_s).script, u"x"_s);
    EXPECT_EQ(splitReply(u"````as\nx\n````"_s).prose, u"``"_s);
    EXPECT_EQ(splitReply(u"```\n```as \n\t\n x\n``\n```"_s).script, u"x\n``"_s);
    EXPECT_EQ(splitReply(u"```as x\n```as\u00a0\ny```z"_s).script, u"y"_s);
    EXPECT_FALSE(splitReply(u"```as"_s).script);
    EXPECT_FALSE(splitReply(u"```as\n``"_s).script);
    EXPECT_FALSE(splitReply(u"```as```"_s).script);
}

TEST(PlainStep, IsTheFirstSentenceOfTheFirstLineWithWords) {
    EXPECT_EQ(plainStep(u"\n  \n Open the editor. Then type.\nMore"_s), u"Open the editor."_s);
    EXPECT_EQ(plainStep(u"Is it open? Yes"_s), u"Is it open?"_s);
    EXPECT_EQ(plainStep(u"Version 1.2 is here"_s), u"Version 1.2 is here"_s);
    EXPECT_EQ(plainStep(u"Ends here!"_s), u"Ends here!"_s);
    EXPECT_EQ(plainStep(u"Windows line.\r\nNext"_s), u"Windows line."_s);
    EXPECT_EQ(plainStep({}), QString());
}

TEST(PlainStep, HasNoMarkup) {
    EXPECT_EQ(plainStep(u"**Step 1:** run `ls` now"_s), u"Step 1: run ls now"_s);
}

TEST(PlainStep, IsCutAt140Characters) {
    EXPECT_EQ(plainStep(QString(140, u'a')), QString(140, u'a'));
    EXPECT_EQ(plainStep(QString(141, u'a')), QString(139, u'a') + u"…"_s);
    EXPECT_EQ(plainStep(u"👍🏽"_s.repeated(140)), u"👍🏽"_s.repeated(140)) << "counted as a person does";
    const auto cut = plainStep(u"👍🏽"_s.repeated(200));
    EXPECT_EQ(characterCount(cut), 140);
    EXPECT_TRUE(cut.endsWith(u"👍🏽…"_s));
}

TEST(FinalReply, DoneIsDroppedInAnyCase) {
    for (const auto &reply : {u"DONE: All set."_s, u"done: All set.\n"_s, u"Done:All set."_s}) {
        const auto final = readFinalReply(reply);
        EXPECT_TRUE(final.done);
        EXPECT_EQ(final.shown, u"All set."_s);
        EXPECT_EQ(final.answer, u"All set."_s);
    }
}

TEST(FinalReply, DoneCountsOnlyAtTheVeryStart) {
    const auto final = readFinalReply(u" DONE: x"_s);
    EXPECT_FALSE(final.done);
    EXPECT_EQ(final.shown, u" DONE: x"_s);
}

TEST(FinalReply, OnlyDoneShowsNoReplyButAnswersDone) {
    const auto final = readFinalReply(u"DONE:  \n"_s);
    EXPECT_TRUE(final.done);
    EXPECT_EQ(final.shown, u"(no reply)"_s);
    EXPECT_EQ(final.answer, u"Done."_s);
}

TEST(FinalReply, NothingAtAllIsAnAnswerToo) {
    const auto final = readFinalReply({});
    EXPECT_FALSE(final.done);
    EXPECT_EQ(final.shown, u"(no reply)"_s);
    EXPECT_EQ(final.answer, u"Done."_s);
}

TEST(TurnMessage, NamesThePictureAndTheScale) {
    EXPECT_EQ(
        turnMessage(u"USER TASK: 100% \"%1\""_s, 3, u"/tmp/a %2/shot.png"_s, {1568, 1018}, {1512, 982}),
        u"USER TASK: 100% \"%1\"\n"
        u"Screenshot (step 3): /tmp/a %2/shot.png\n"
        u"Image size: 1568x1018 px.\n"
        u"Screen size: 1512x982 points. To convert image px -> screen points multiply x by 0.964 and y by 0.965."_s);
}

TEST(ResultHead, CarriesTheFirst4000Characters) {
    EXPECT_EQ(resultHead(true, u"ok"_s), u"Result of your last AppleScript (success):\nok"_s);
    const auto head = resultHead(false, QString(4001, u'x'));
    EXPECT_EQ(head, u"Result of your last AppleScript (failure):\n"_s + QString(4000, u'x'));
}

TEST(ResultHead, CountsCharactersAsAPersonDoes) {
    const auto thumb = u"👍🏽"_s; // one character of four code units
    EXPECT_EQ(resultHead(true, thumb.repeated(4001)),
              u"Result of your last AppleScript (success):\n"_s + thumb.repeated(4000));
}

TEST(ResultHead, IsNeverTooLongForAnArgument) {
    const auto family = u"👩‍👩‍👧‍👦"_s; // one character of 25 bytes
    const auto head = resultHead(true, family.repeated(4000));
    EXPECT_LE(head.toUtf8().size(), 66 << 10);
    EXPECT_GT(head.toUtf8().size(), 60 << 10);
    EXPECT_TRUE(head.endsWith(family));
}

TEST(AutomationRefusal, IsToldByNumberOrWords) {
    EXPECT_TRUE(isAutomationRefusal(u"error (-1743)"_s));
    EXPECT_TRUE(isAutomationRefusal(u"NOT authorized to send Apple events to Finder."_s));
    EXPECT_FALSE(isAutomationRefusal(u"error (-1728)"_s));
}

TEST(AutomationRefusal, NamesTheApplications) {
    const auto plain = u"execution error: Not authorized to send Apple events to %1. (-1743)"_s;
    EXPECT_EQ(refusedApplications(plain.arg(u"Finder"_s)), QStringList{u"Finder"_s});
    EXPECT_EQ(refusedApplications(plain.arg(u"St. Mary's Notes"_s)), QStringList{u"St. Mary's Notes"_s});
    EXPECT_EQ(refusedApplications(u"Not authorized to send Apple events to Mail. The owner has not allowed scripts to "
                                  "use this application: ask the owner instead of trying another way. (-1743)"_s),
              QStringList{u"Mail"_s});
    EXPECT_EQ(refusedApplications(plain.arg(u"A"_s) + u'\n' + plain.arg(u"B"_s) + u'\n' + plain.arg(u"A"_s)),
              (QStringList{u"A"_s, u"B"_s}));
    EXPECT_EQ(refusedApplications(u"error (-1743)"_s), QStringList());
}

TEST(ErrorHeadline, IsTheErrorsFirstLine) {
    EXPECT_EQ(errorHeadline(u"Error (exit 1): 0:3: execution error: Boom. (-2700)\nmore"_s), u"Boom. (-2700)"_s);
    EXPECT_EQ(errorHeadline(u"Script timed out after 2s."_s), u"Script timed out after 2s."_s);
    EXPECT_EQ(characterCount(errorHeadline(QString(500, u'x'))), 140);
}

TEST(ErrorHeadline, IsCutAt140CharactersAsAPersonCountsThem) {
    const auto thumb = u"👍🏽"_s;
    EXPECT_EQ(errorHeadline(thumb.repeated(141)), thumb.repeated(140));
}

TEST(ErrorHeadline, BeginsBehindTheFirstOfTwoErrors) {
    EXPECT_EQ(errorHeadline(u"0:3: execution error: the shell said execution error: Boom."_s),
              u"the shell said execution error: Boom."_s);
}

TEST(FinishTitle, FollowsTheAnswersWords) {
    EXPECT_EQ(finishTitle(u"Okay, stopped."_s), u"Stopped"_s);
    EXPECT_EQ(finishTitle(u"Sorry, something went wrong on the computer."_s), u"Something went wrong"_s);
    EXPECT_EQ(finishTitle(u"I ran out of steps before finishing. Tell me how to continue."_s), u"Done ✓"_s);
    EXPECT_EQ(finishTitle(u"All set."_s), u"Done ✓"_s);
}
