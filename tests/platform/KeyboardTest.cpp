#include "tests/support/DesktopModule.h"

using namespace ombru;
using namespace ombru::test;
using namespace ombru::applescript;
using namespace Qt::StringLiterals;

namespace {

const int COMMAND = static_cast<int>(Modifier::command);
const int SHIFT = static_cast<int>(Modifier::shift);
const int OPTION = static_cast<int>(Modifier::option);
const int CONTROL = static_cast<int>(Modifier::control);

const QString PUNCTUATION = u" !\"#$%&'()*+,-./0123456789:;<=>?@ABCXYZ[\\]^_`abcxyz{|}~"_s;
const QString ACCENTS = u"Größe, naïve café, Ça où? Ñandú Łódź “quoted” – ¿qué? €£¥"_s;
const QString CYRILLIC = u"Съешь же ещё этих мягких французских булок, да выпей чаю. ЖЁЩ"_s;
const QString EMOJI = u"ok 🙂 👩‍👩‍👧‍👦 👍🏽 ❤️ 🇩🇪 end"_s;
const QString CJK = u"日本語のテキストと中文字符，한국어 文章。"_s;
const QString EVERYTHING = PUNCTUATION + ACCENTS + CYRILLIC + EMOJI + CJK;

// Text of that many characters, with more distinct ones than a keyboard has free keys.
QString longText(int length) {
    QString text;
    while (text.size() < length)
        text += CYRILLIC + u" "_s + CJK + u"\n"_s + ACCENTS + u" plain words in between; "_s;
    return text.left(length);
}

QByteArray keyboardMap() {
    Scratch scratch;
    const QByteArray file = scratch.path(u"map"_s).toUtf8();
    EXPECT_EQ(std::system(("xmodmap -pke > " + file + "; xset q | grep -E 'Lock|LED' >> " + file).constData()), 0);
    return contents(QString::fromUtf8(file));
}

class Keyboard : public testing::Test {
protected:
    ~Keyboard() override { runProgram("setxkbmap us"); }

    void layout(const QByteArray &arguments) { runProgram("setxkbmap " + arguments); }

    void openTarget() {
        static int number = 0;
        const QString title = u"target %1."_s.arg(++number);
        m_program = startProgram("'" + qgetenv("OMBRU_BIN") + "/../tests/input-target' '" +
                                     m_scratch.path(u"text"_s).toUtf8() + "' '" + title.toUtf8() + "'",
                                 "qt6-qpa-plugins");
        focusWindow(*desktop, title);
    }

    void typeAndExpect(const QString &text, QString expected = {}) {
        if (expected.isEmpty())
            expected = text;
        const auto typed = desktop->type(text, 0);
        ASSERT_TRUE(typed) << words(typed);
        waitUntil([&] { return got() == expected; });
        EXPECT_EQ(got().toStdString(), expected.toStdString());
    }

    QString got() const { return QString::fromUtf8(contents(m_scratch.path(u"text"_s))); }
    QByteArray events() const { return contents(m_scratch.path(u"text.events"_s)); }
    void expectEvents(const QByteArray &expected) {
        waitUntil([&] { return events() == expected; });
        EXPECT_EQ(events().toStdString(), expected.toStdString());
    }

    std::unique_ptr<Desktop> desktop = openDesktop();
    Scratch m_scratch;
    std::unique_ptr<Companion> m_program;
};

class KeyboardLayouts : public Keyboard, public testing::WithParamInterface<const char *> {};

} // namespace

TEST_P(KeyboardLayouts, TypeAnyTextExactlyAndComeBack) {
    layout(GetParam());
    openTarget();
    const QByteArray before = keyboardMap();
    typeAndExpect(EVERYTHING);
    EXPECT_EQ(keyboardMap(), before);
}
INSTANTIATE_TEST_SUITE_P(All, KeyboardLayouts,
                         testing::Values("us", "de", "ru", "fr", "us,ru -option grp:alt_shift_toggle"));

TEST_F(Keyboard, TypesTwoThousandCharacters) {
    openTarget();
    typeAndExpect(longText(2000));
}

TEST_F(Keyboard, PressesShortcuts) {
    openTarget();
    ASSERT_TRUE(desktop->type(u"s"_s, COMMAND));
    ASSERT_TRUE(desktop->type(u"S"_s, COMMAND));
    ASSERT_TRUE(desktop->type(u"v"_s, CONTROL | OPTION));
    ASSERT_TRUE(desktop->pressKey(123, COMMAND | SHIFT));
    waitUntil([&] { return events().contains("Left"); });
    const QByteArrayList lines = events().split('\n');
    for (const char *line : {"Ctrl+S", "Ctrl+Shift+S", "Ctrl+Alt+V", "Ctrl+Shift+Left"})
        EXPECT_TRUE(lines.contains(line)) << line << " is not in\n" << events().toStdString();
}
