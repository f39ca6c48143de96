// The question for an owner whose letters are large: it has all of its text and both answers, and stays on the screen.
#include "platform/linux/consent/prompt/PromptWindow.h"
#include "tests/support/LargeLetters.h"
#include "tests/support/Wait.h"

#include <QApplication>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class LargePrompt : public testing::Test {
protected:
    ~LargePrompt() override { QApplication::setFont(m_before); }

    static void expectFits(const PromptText &text) {
        PromptWindow window(text, [](bool) {});
        window.show();
        settle();
        EXPECT_EQ(misfits(window, window), QStringList()) << text.title.toStdString();
    }
    static void expectAllFit() {
        const Applications installed;
        const auto place = u"/opt/"_s + u"a-directory-with-a-long-name/"_s.repeated(6) + u"osascript"_s;
        expectFits(promptText(place, u"com.apple.systemevents"_s, installed));
        expectFits(promptText(u"com.ombru.mac"_s, u"org.example.Editor"_s, installed));
        expectFits(forgetText(u"com.ombru.mac"_s, u"com.apple.systemevents"_s, installed));
    }

    const QFont m_before = QApplication::font();
};

} // namespace

TEST_F(LargePrompt, FitsInOrdinaryLetters) {
    expectAllFit();
}

TEST_F(LargePrompt, FitsInLettersTwiceAsLarge) {
    QApplication::setFont(twiceAsLarge(m_before));
    expectAllFit();
}
