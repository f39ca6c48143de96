#include "controller/Prompts.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

TEST(Prompts, TheBuiltInPromptCountsWhenThereIsNoOther) {
    EXPECT_EQ(chooseSystemPrompt({}, {}), FALLBACK_PROMPT);
    EXPECT_TRUE(FALLBACK_PROMPT.startsWith(u"You are controlling a macOS computer for the user. "_s));
    EXPECT_TRUE(FALLBACK_PROMPT.endsWith(u"unless the user explicitly asked for it."_s));
}

TEST(Prompts, ACachedPromptWinsOverTheBuiltInOne) {
    EXPECT_EQ(chooseSystemPrompt({}, u"cached"_s), u"cached"_s);
}

TEST(Prompts, TheServicesPromptWinsOverBoth) {
    EXPECT_EQ(chooseSystemPrompt(u"service"_s, u"cached"_s), u"service"_s);
    EXPECT_EQ(chooseSystemPrompt(u"service"_s, {}), u"service"_s);
}

TEST(Prompts, ThePhoneNoteBeginsOnALineOfItsOwn) {
    EXPECT_TRUE(PHONE_NOTE.startsWith(u"\n(This task came in by phone."_s));
}
