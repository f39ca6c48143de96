// Text typed into the programs that owners have, and what those programs then wrote to disk.
#include "tests/support/DesktopModule.h"

#include <thread>

using namespace ombru;
using namespace ombru::test;
using namespace ombru::applescript;
using namespace Qt::StringLiterals;

namespace {

const int COMMAND = static_cast<int>(Modifier::command);
constexpr int RETURN_KEY = 36;

const QString ASCII =
    u" !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~"_s;
const QString FOREIGN = u"Größe naïve Ça ñ Łódź “q” – ¿€ Съешь же ЁЖ 日本語 한국어 🙂🚀 ἀρχή"_s;

// Of that many characters, with far more different ones than a keyboard has spare keys.
QString longText(qsizetype length) {
    QString text;
    for (char16_t letter = u'а'; text.size() < length; letter = letter == u'я' ? u'а' : letter + 1)
        text += u"%1%2 plain words, line %3\n"_s.arg(QChar(letter), QChar(char16_t(0x4e00 + text.size() % 400)))
                    .arg(text.size());
    return text.left(length - 1) + u'.';
}

QByteArray outputOf(const QByteArray &command) {
    const Scratch scratch;
    const QString file = scratch.path(u"output"_s);
    EXPECT_EQ(std::system((command + " > " + file.toUtf8()).constData()), 0) << command.toStdString();
    return contents(file);
}

struct Keyboard {
    const char *name;
    const char *layout;
    bool capsLock = false;
};

class TypingJourney : public testing::Test {
protected:
    ~TypingJourney() override { setUp({"", "us"}); }

    static bool capsLocked() { return outputOf("xset q").contains("Caps Lock:   on"); }

    void setUp(const Keyboard &keyboard) {
        runProgram(QByteArray("setxkbmap ") + keyboard.layout);
        if (capsLocked() != keyboard.capsLock) // a new layout keeps the lock
            runProgram("xdotool key Caps_Lock");
    }

    // The editor on a new file; it has the focus.
    QString openEditor() {
        const QString file = m_scratch.write(u"journey.txt"_s, "");
        // With a home of its own: an editor that was ended by a signal makes the next one ask about what was unsaved.
        const QByteArray home = m_scratch.directory().toUtf8();
        m_program = startProgram("env XDG_DATA_HOME='" + home + "/data' XDG_CONFIG_HOME='" + home +
                                     "/config' mousepad --disable-server '" + file.toUtf8() + "'",
                                 "mousepad");
        focusWindow(*m_desktop, u"journey.txt"_s);
        return file;
    }

    void type(const QString &text) {
        const auto typed = m_desktop->input().type(text, 0);
        ASSERT_TRUE(typed) << words(typed);
    }

    // Saves until the file holds it: the editor may still be busy with the text when the first save arrives.
    void saveAndExpect(const QString &file, const QString &text) {
        const auto saved = m_desktop->input().type(u"s"_s, COMMAND);
        ASSERT_TRUE(saved) << words(saved);
        waitUntil([&] { return QString::fromUtf8(contents(file)) == text; });
        EXPECT_EQ(contents(file).toStdString(), text.toStdString());
    }

    std::unique_ptr<Desktop> m_desktop = openDesktop();
    Scratch m_scratch;
    std::unique_ptr<Companion> m_program;
};

class TypingJourneyUnder : public TypingJourney, public testing::WithParamInterface<Keyboard> {};

} // namespace

TEST_P(TypingJourneyUnder, AnEditorSavesExactlyWhatWasTyped) {
    setUp(GetParam());
    const QByteArray before = outputOf("xmodmap -pke");
    const QString file = openEditor();
    const QString text = ASCII + u'\n' + FOREIGN;
    type(text);
    saveAndExpect(file, text);
    EXPECT_EQ(outputOf("xmodmap -pke"), before) << "the keyboard is not what it was";
}

TEST_P(TypingJourneyUnder, ATerminalGetsExactlyWhatWasTyped) {
    setUp(GetParam());
    const QString file = m_scratch.path(u"terminal.txt"_s);
    m_program =
        startProgram("xterm -u8 -T terminal-journey -e sh -c 'stty -ixon; cat > " + file.toUtf8() + "'", "xterm");
    focusWindow(*m_desktop, u"terminal-journey"_s);
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(file); }));
    const QString text = ASCII + u'\n' + FOREIGN;
    type(text);
    ASSERT_TRUE(m_desktop->input().pressKey(RETURN_KEY, 0));
    const QString expected = text + u'\n';
    waitUntil([&] { return QString::fromUtf8(contents(file)) == expected; });
    EXPECT_EQ(contents(file).toStdString(), expected.toStdString());
}

INSTANTIATE_TEST_SUITE_P(Keyboards, TypingJourneyUnder,
                         testing::Values(Keyboard{"American", "us"}, Keyboard{"German", "de"},
                                         Keyboard{"Russian", "ru"}, Keyboard{"French", "fr"},
                                         Keyboard{"RussianSecond", "us,ru"},
                                         Keyboard{"AmericanWithCapsLock", "us", true},
                                         Keyboard{"RussianWithCapsLock", "ru", true}),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(TypingJourney, AnEditorGetsTwoThousandCharacters) {
    const QString file = openEditor();
    const QString text = longText(2000);
    type(text);
    saveAndExpect(file, text);
}

TEST_F(TypingJourney, AnEditorThatStopsForAWhileMissesNothing) {
    const QString file = openEditor();
    m_program->signal(SIGSTOP);
    std::thread wake([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        m_program->signal(SIGCONT);
    });
    const QString text = longText(200);
    type(text);
    wake.join();
    saveAndExpect(file, text);
}

TEST_F(TypingJourney, CapsLockStaysAsItWas) {
    setUp({"", "us", true});
    const QString file = openEditor();
    type(u"abc"_s);
    saveAndExpect(file, u"abc"_s);
    EXPECT_TRUE(capsLocked());
}

TEST_F(TypingJourney, SomebodyRestingOnShiftChangesNothing) {
    const QString file = openEditor();
    runProgram("xdotool keydown Shift_L");
    type(u"abc 1ж"_s);
    runProgram("xdotool keyup Shift_L");
    saveAndExpect(file, u"abc 1ж"_s);
}

TEST_F(TypingJourney, AnEndInTheMiddleGivesTheKeyboardBack) {
    const QByteArray before = outputOf("xmodmap -pke");
    openEditor();
    ASSERT_TRUE(m_desktop->input().holdModifier(Modifier::shift, true));
    std::thread end([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        m_desktop->restore();
    });
    const auto typed = m_desktop->input().type(longText(4000), 0);
    end.join();
    EXPECT_FALSE(typed);
    EXPECT_EQ(outputOf("xmodmap -pke"), before);
    EXPECT_FALSE(m_desktop->input().type(u"a"_s, 0)) << "nothing is typed after the end";
}
