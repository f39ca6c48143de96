#include "controller/Prompts.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

QString text(const QString &name) {
    QFile file(qEnvironmentVariable("OMBRU_SOURCE") + u"/tests/controller/texts/"_s + name);
    EXPECT_TRUE(file.open(QFile::ReadOnly)) << file.fileName().toStdString();
    return QString::fromUtf8(file.readAll());
}

} // namespace

TEST(Prompts, TheTextsAreTheAgreedOnes) {
    EXPECT_EQ(FALLBACK_PROMPT, text(u"fallback-prompt.txt"_s));
    EXPECT_EQ(PHONE_NOTE, text(u"phone-note.txt"_s));
}

TEST(Prompts, TheBuiltInPromptCountsWhenThereIsNoOther) {
    EXPECT_EQ(chooseSystemPrompt({}, {}), FALLBACK_PROMPT);
}

TEST(Prompts, ACachedPromptWinsOverTheBuiltInOne) {
    EXPECT_EQ(chooseSystemPrompt({}, u"cached"_s), u"cached"_s);
}

TEST(Prompts, TheServicesPromptWinsOverBoth) {
    EXPECT_EQ(chooseSystemPrompt(u"service"_s, u"cached"_s), u"service"_s);
    EXPECT_EQ(chooseSystemPrompt(u"service"_s, {}), u"service"_s);
}
