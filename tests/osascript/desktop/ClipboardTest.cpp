#include "tests/support/DesktopModule.h"

#include <random>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString MIXED = u"Größe, Съешь, 日本語, 👩‍👩‍👧‍👦\n\tend"_s;

class Clipboard : public testing::Test {
protected:
    // The other program may own the clipboard a moment later only.
    void copyElsewhere(const QByteArray &bytes) {
        const auto file = m_scratch.write(u"copied"_s, bytes).toUtf8();
        runProgram("xclip -selection clipboard -i '" + file + "'");
        const auto targets = [] {
            return std::system("xclip -selection clipboard -o -t TARGETS | grep -q '^TIMESTAMP$'");
        };
        ASSERT_TRUE(waitUntil([&] { return targets() != 0; })) << "our own text stays on the clipboard";
    }

    QByteArray pasteElsewhere(const QByteArray &options = {}) {
        const auto file = m_scratch.path(u"pasted"_s).toUtf8();
        EXPECT_EQ(std::system(("timeout 60 xclip -selection clipboard " + options + " -o >'" + file + "'").constData()),
                  0);
        return contents(QString::fromUtf8(file));
    }

    QString text() {
        const auto result = desktop->clipboard().text();
        EXPECT_TRUE(result) << result.error().description.toStdString();
        return result.value_or(QString());
    }

    std::unique_ptr<Desktop> desktop = openDesktop();
    Scratch m_scratch;
};

QString manyCharacters(int count) {
    QString result;
    std::mt19937 random(1);
    for (int i = 0; i < count; ++i)
        result += i % 3 == 0 ? QChar(char16_t(0x430 + random() % 32)) : QChar(char16_t(u'a' + random() % 26));
    return result;
}

} // namespace

TEST_F(Clipboard, TakesWhatAnotherProgramCopied) {
    copyElsewhere(MIXED.toUtf8());
    EXPECT_EQ(text().toStdString(), MIXED.toStdString());
}

TEST_F(Clipboard, GivesAnotherProgramWhatWasSet) {
    ASSERT_TRUE(desktop->clipboard().setText(MIXED));
    EXPECT_EQ(text().toStdString(), MIXED.toStdString());
    EXPECT_EQ(pasteElsewhere().toStdString(), MIXED.toStdString());
    EXPECT_EQ(pasteElsewhere("-t UTF8_STRING").toStdString(), MIXED.toStdString());
    EXPECT_EQ(pasteElsewhere("-t 'text/plain;charset=utf-8'").toStdString(), MIXED.toStdString());
    EXPECT_TRUE(pasteElsewhere("-t TARGETS").contains("UTF8_STRING"));
}

TEST_F(Clipboard, KeepsTheTextAfterTheDesktopIsClosed) {
    ASSERT_TRUE(desktop->clipboard().setText(u"stays"_s));
    desktop.reset();
    EXPECT_EQ(pasteElsewhere(), "stays");
}

TEST_F(Clipboard, CarriesAMebibyteBothWays) {
    const QString large = manyCharacters(1 << 20);
    ASSERT_TRUE(desktop->clipboard().setText(large));
    EXPECT_TRUE(text() == large);
    EXPECT_TRUE(pasteElsewhere() == large.toUtf8());
    copyElsewhere("x" + large.toUtf8());
    EXPECT_TRUE(text() == u"x"_s + large);
}

TEST_F(Clipboard, GivesWayToWhatIsCopiedNext) {
    ASSERT_TRUE(desktop->clipboard().setText(u"first"_s));
    ASSERT_TRUE(desktop->clipboard().setText(u"second"_s));
    EXPECT_EQ(text(), u"second"_s);
    copyElsewhere("third");
    EXPECT_EQ(text(), u"third"_s);
}

TEST_F(Clipboard, MayBeEmpty) {
    ASSERT_TRUE(desktop->clipboard().setText(QString()));
    EXPECT_EQ(text(), QString());
}

TEST_F(Clipboard, WhoseOwnerHasGoneIsEmpty) {
    const auto file = m_scratch.write(u"copied"_s, "gone").toUtf8();
    const auto owner = startProgram("xclip -quiet -selection clipboard -i '" + file + "'", "xclip");
    ASSERT_TRUE(waitUntil([&] { return text() == u"gone"_s; }));
    owner->end(SIGKILL);
    EXPECT_TRUE(waitUntil([&] { return text().isEmpty(); }));
}

TEST_F(Clipboard, WhoseOwnerDoesNotAnswerIsAFailure) {
    const auto file = m_scratch.write(u"copied"_s, "frozen").toUtf8();
    const auto owner = startProgram("xclip -quiet -selection clipboard -i '" + file + "'", "xclip");
    ASSERT_TRUE(waitUntil([&] { return text() == u"frozen"_s; }));
    owner->signal(SIGSTOP);
    const auto result = desktop->clipboard().text();
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, -1712);
}
