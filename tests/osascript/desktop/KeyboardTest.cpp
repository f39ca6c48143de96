#include "platform/linux/x11/Display.h"
#include "tests/support/Consent.h"
#include "tests/support/DesktopModule.h"

#include <QProcess>

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

// Another program, as the X server tells it of a changed map.
class Listener {
public:
    Listener() : m_display(ombru::Display::open()) {
        EXPECT_TRUE(m_display);
        news();
    }

    // How often it was told since the last time.
    int news() {
        auto *connection = m_display->connection();
        Reply<xcb_get_input_focus_reply_t>(
            xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
        int count = 0;
        while (const auto event = Reply<xcb_generic_event_t>(xcb_poll_for_event(connection)))
            count += (event->response_type & 0x7f) == XCB_MAPPING_NOTIFY ? 1 : 0;
        return count;
    }

private:
    Result<ombru::Display> m_display;
};

// The note on the root window of which keys are borrowed by whom.
class Loans {
public:
    Loans() : m_display(ombru::Display::open()) { EXPECT_TRUE(m_display); }

    std::vector<std::uint32_t> read() const {
        constexpr std::uint32_t ALL = 1000;
        const auto reply = Reply<xcb_get_property_reply_t>(xcb_get_property_reply(
            connection(),
            xcb_get_property(connection(), 0, m_display->screen().root, atom(), XCB_ATOM_CARDINAL, 0, ALL), nullptr));
        if (!reply || reply->format != 32)
            return {};
        const auto *first = static_cast<const std::uint32_t *>(xcb_get_property_value(reply.get()));
        return {first, first + reply->value_len};
    }

    void write(const std::vector<std::uint32_t> &numbers) {
        put(XCB_ATOM_CARDINAL, 32, numbers.size(), numbers.data());
    }
    void write(const QByteArray &text) { put(XCB_ATOM_STRING, 8, std::size_t(text.size()), text.constData()); }

private:
    xcb_connection_t *connection() const { return m_display->connection(); }
    xcb_atom_t atom() const {
        const QByteArray name = "_OMBRU_BORROWED_KEYS";
        return Reply<xcb_intern_atom_reply_t>(
                   xcb_intern_atom_reply(
                       connection(),
                       xcb_intern_atom(connection(), 0, static_cast<std::uint16_t>(name.size()), name.constData()),
                       nullptr))
            ->atom;
    }
    void put(xcb_atom_t type, std::uint8_t format, std::size_t count, const void *data) {
        xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, m_display->screen().root, atom(), type, format,
                            static_cast<std::uint32_t>(count), data);
        read();
    }

    Result<ombru::Display> m_display;
};

constexpr std::uint32_t MARK = 0x4b4c4e31;

// A note that this process, started then, has made the key 93 give Ж and ж.
std::vector<std::uint32_t> loanOf93(std::uint32_t pid, std::uint32_t started) {
    return {MARK, pid, started, 0, 1, 93, 0x1000416, 0x1000436};
}

std::uint32_t startOf(qint64 pid) {
    const QByteArray stat = contents(u"/proc/%1/stat"_s.arg(pid));
    return stat.mid(stat.lastIndexOf(')') + 2).split(' ').value(19).toUInt();
}

// As many different characters that no key has.
QString foreignText(int length) {
    QString text;
    for (int i = 0; i < length; ++i)
        text += QChar(char16_t(0x4e00 + i));
    return text;
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
        const auto typed = desktop->input().type(text, 0);
        ASSERT_TRUE(typed) << words(typed);
        waitUntil([&] { return got() == expected; });
        EXPECT_EQ(got().toStdString(), expected.toStdString());
    }

    void startTyping(QProcess &osascript, const QString &text) {
        allow(qEnvironmentVariable("XDG_DATA_HOME"), {u"System Events"_s});
        osascript.start(qEnvironmentVariable("OMBRU_BIN") + u"/osascript"_s,
                        {u"-e"_s, u"tell application \"System Events\" to keystroke \"%1\""_s.arg(text)});
        ASSERT_TRUE(osascript.waitForStarted());
    }

    static void expectDone(QProcess &osascript) {
        ASSERT_TRUE(waitUntil([&] { return osascript.state() == QProcess::NotRunning; }));
        EXPECT_EQ(osascript.exitCode(), 0) << osascript.readAllStandardError().toStdString();
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

TEST_F(Keyboard, TellsOtherProgramsOfItsKeysOnceABatch) {
    openTarget();
    Listener listener;
    typeAndExpect(u"plain"_s); // what types now is another keyboard, which is news, too
    listener.news();
    typeAndExpect(foreignText(60), u"plain"_s + foreignText(60));
    const int news = listener.news();
    RecordProperty("mappingNotifies", news);
    EXPECT_GT(news, 0);
    // Two batches and the giving back.
    EXPECT_LE(news, 3);
}

TEST_F(Keyboard, PressesShortcuts) {
    openTarget();
    ASSERT_TRUE(desktop->input().type(u"s"_s, COMMAND));
    ASSERT_TRUE(desktop->input().type(u"S"_s, COMMAND));
    ASSERT_TRUE(desktop->input().type(u"v"_s, CONTROL | OPTION));
    ASSERT_TRUE(desktop->input().pressKey(123, COMMAND | SHIFT));
    waitUntil([&] { return events().contains("Left"); });
    const QByteArrayList lines = events().split('\n');
    for (const char *line : {"Ctrl+S", "Ctrl+Shift+S", "Ctrl+Alt+V", "Ctrl+Shift+Left"})
        EXPECT_TRUE(lines.contains(line)) << line << " is not in\n" << events().toStdString();
}

TEST_F(Keyboard, TheNextThatTypesGivesBackTheKeysOfOneThatWasKilled) {
    const QByteArray before = keyboardMap();
    const Loans loans;
    openTarget();
    QProcess killed;
    startTyping(killed, foreignText(400));
    constexpr std::size_t FIRST_SYMBOL = 6;
    ASSERT_TRUE(waitUntil([&] {
        const auto numbers = loans.read();
        return numbers.size() > FIRST_SYMBOL && numbers[FIRST_SYMBOL] != 0;
    }));
    killed.kill();
    ASSERT_TRUE(killed.waitForFinished());
    EXPECT_EQ(killed.exitStatus(), QProcess::CrashExit);
    EXPECT_NE(keyboardMap(), before);
    EXPECT_FALSE(loans.read().empty());

    openTarget();
    QProcess next;
    const QString text = u"after Съешь 日本 "_s + foreignText(50);
    startTyping(next, text);
    expectDone(next);
    waitUntil([&] { return got() == text; });
    EXPECT_EQ(got(), text);
    EXPECT_EQ(keyboardMap(), before);
    EXPECT_TRUE(loans.read().empty());
}

TEST_F(Keyboard, PlainTextGivesBackTheKeysOfOneThatWasKilled) {
    const QByteArray before = keyboardMap();
    Loans loans;
    openTarget();
    runProgram("xmodmap -e 'keycode 93 = U0416 U0436'");
    loans.write(loanOf93(static_cast<std::uint32_t>(getpid()), startOf(getpid()) - 1));
    typeAndExpect(u"plain"_s);
    EXPECT_EQ(keyboardMap(), before);
}

TEST_F(Keyboard, AKeyThatGotAnotherUseIsNotGivenBack) {
    Loans loans;
    openTarget();
    runProgram("xmodmap -e 'keycode 93 = U0417 U0437'");
    const QByteArray before = keyboardMap();
    loans.write(loanOf93(static_cast<std::uint32_t>(getpid()), startOf(getpid()) - 1));
    typeAndExpect(EVERYTHING);
    EXPECT_EQ(keyboardMap(), before);
    EXPECT_TRUE(loans.read().empty());
}

TEST_F(Keyboard, TheKeysOfOneThatLivesAreLeftAloneAndNotUsed) {
    const QByteArray empty = keyboardMap();
    Loans loans;
    openTarget();
    QProcess owner;
    owner.start(u"sleep"_s, {u"600"_s});
    ASSERT_TRUE(owner.waitForStarted());
    runProgram("xmodmap -e 'keycode 93 = U0416 U0436'");
    const QByteArray before = keyboardMap();
    const auto loan = loanOf93(static_cast<std::uint32_t>(owner.processId()), startOf(owner.processId()));
    loans.write(loan);
    typeAndExpect(EVERYTHING);
    EXPECT_EQ(keyboardMap(), before);
    EXPECT_EQ(loans.read(), loan);
    owner.kill();
    ASSERT_TRUE(owner.waitForFinished());
    typeAndExpect(u"x"_s, EVERYTHING + u"x"_s);
    EXPECT_EQ(keyboardMap(), empty);
}

TEST_F(Keyboard, ANoteThatIsNotOurOwnMeansNothing) {
    const QByteArray before = keyboardMap();
    Loans loans;
    openTarget();
    const std::vector<std::vector<std::uint32_t>> notes{
        {1, 2, 3},
        {MARK},
        {MARK, 1},
        {MARK, 0, 0, 0, 0},
        {MARK, 0, 0, 0, 0xffffffff, 38, 0x61, 0x41},
        {MARK, 0, 0, 0, 1, 38, 0x61},
        {MARK, 0, 0, 0, 1, 7, 0x61, 0x41},
        {MARK, 0, 0, 0, 1, 38 + 256, 0x61, 0x41},
        {MARK, 0, 0, 0, 1, 38, 0x61, 0x41, 5},
        {0, 0, 0, 0, 1, 38, 0x61, 0x41},
        std::vector<std::uint32_t>(5000, 0xffffffff),
    };
    QString typed;
    for (const auto &note : notes) {
        loans.write(note);
        typed += u"aж日"_s;
        typeAndExpect(u"aж日"_s, typed);
        EXPECT_EQ(keyboardMap(), before);
    }
    loans.write("no numbers at all");
    typeAndExpect(u"a語"_s, typed + u"a語"_s);
    EXPECT_EQ(keyboardMap(), before);
}

TEST_F(Keyboard, TwoThatTypeAtOnceDoNotTakeEachOthersKeys) {
    const QByteArray before = keyboardMap();
    openTarget();
    const QString text = foreignText(120);
    QProcess one;
    QProcess other;
    startTyping(one, text.left(60));
    startTyping(other, text.mid(60));
    expectDone(one);
    expectDone(other);
    const auto sorted = [](QString characters) {
        std::ranges::sort(characters);
        return characters;
    };
    waitUntil([&] { return got().size() == text.size(); });
    EXPECT_EQ(sorted(got()), sorted(text));
    EXPECT_EQ(keyboardMap(), before);
}

TEST_F(Keyboard, APartOfTheKeyboardWithALayoutOfItsOwnKeepsIt) {
    const auto symbolsOfPart = [&] {
        const QString file = m_scratch.path(u"part"_s);
        runProgram("xkbcomp -i 7 $DISPLAY '" + file.toUtf8() + "'"); // the Xvfb's own keyboard
        const QByteArray all = contents(file);
        return all.mid(all.indexOf("xkb_symbols"));
    };
    openTarget();
    const QByteArray american = symbolsOfPart();
    runProgram("setxkbmap -device 7 -layout de");
    const QByteArray before = symbolsOfPart();
    ASSERT_NE(before, american);
    typeAndExpect(EVERYTHING);
    EXPECT_EQ(symbolsOfPart(), before);
}
