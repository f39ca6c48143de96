// What the window that asks for consent says, also about programs and applications that would have it say otherwise.
#include "platform/linux/consent/prompt/PromptText.h"

#include "base/Text.h"
#include "look/Translation.h"
#include "tests/support/Processes.h"

#include <QTranslator>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

class PromptTextTest : public ::testing::Test {
protected:
    void install(const QString &id, const QByteArray &lines) {
        QDir().mkpath(scratch.path(u"data/applications"_s));
        scratch.write(u"data/applications/%1.desktop"_s.arg(id), "[Desktop Entry]\nType=Application\n" + lines);
    }
    Applications installed() {
        return Applications({.data = {scratch.path(u"data"_s)}, .config = {}, .desktop = {}, .locale = {}});
    }
    PromptText about(const QString &client, const QString &application) {
        return promptText(client, application, installed());
    }
    // Without what only keeps names apart from the text around them.
    static QString plain(QString text) { return text.remove(u'\u2068').remove(u'\u2069'); }

    test::Scratch scratch;
    QString tool = scratch.script(u"tool"_s, "true");
};

} // namespace

TEST_F(PromptTextTest, AsksInTheOwnersLanguage) {
    const auto catalogues = QCoreApplication::applicationDirPath() + u"/translations"_s;
    const auto translator = translateTexts(catalogues, QLocale(u"de_DE"_s));
    ASSERT_TRUE(translator);
    const auto text = about(u"com.ombru.mac"_s, u"com.apple.systemevents"_s);
    EXPECT_EQ(plain(text.question), u"“ombru” möchte “System Events” steuern."_s);
    EXPECT_TRUE(text.later.contains(u"ombru consent"_s)) << "what has no translation stays";
}

TEST_F(PromptTextTest, NamesWhoAsksAndTheApplication) {
    install(u"org.example.Editor"_s, "Name=Writer's Desk\nExec=/bin/true %F\nIcon=writer\n");
    const auto text = about(u"com.ombru.mac"_s, u"org.example.Editor"_s);
    EXPECT_EQ(plain(text.question), u"“ombru” wants to control “Writer's Desk”."_s);
    EXPECT_EQ(plain(text.meaning),
              u"If you allow it, “ombru” can use “Writer's Desk” as you would: open, read and change what it shows."_s);
    EXPECT_TRUE(text.later.contains(u"ombru consent"_s));
    EXPECT_EQ(text.client, u"com.ombru.mac"_s);
    EXPECT_EQ(text.application, u"org.example.Editor"_s);
    EXPECT_EQ(text.icon, u"writer"_s);
    EXPECT_EQ(text.title, u"ombru: allow control of Writer's Desk?"_s);
}

TEST_F(PromptTextTest, AsksWhetherARefusalIsToBeForgotten) {
    install(u"org.example.Editor"_s, "Name=Writer's Desk\nExec=/bin/true %F\n");
    const auto text = forgetText(u"com.ombru.mac"_s, u"org.example.Editor"_s, installed());
    EXPECT_EQ(plain(text.question), u"You do not allow “ombru” to control “Writer's Desk”. Forget that?"_s);
    EXPECT_EQ(plain(text.meaning), u"If you forget it, “ombru” can ask you again."_s);
    EXPECT_EQ(text.yes, u"Forget"_s);
}

TEST_F(PromptTextTest, SaysThatSystemEventsIsEveryApplication) {
    const auto text = about(u"com.ombru.mac"_s, u"com.apple.systemevents"_s);
    EXPECT_EQ(plain(text.question), u"“ombru” wants to control “System Events”."_s);
    EXPECT_TRUE(text.meaning.contains(u"press keys, click, and look at the windows of every application"_s));
}

TEST_F(PromptTextTest, AnUnknownApplicationGoesByItsIdentifier) {
    const auto text = about(u"org.example.Unknown"_s, u"org.example.Missing"_s);
    EXPECT_EQ(plain(text.question), u"“org.example.Unknown” wants to control “org.example.Missing”."_s);
    EXPECT_TRUE(text.icon.isEmpty());
}

TEST_F(PromptTextTest, AProgramGoesByItsNameAndShowsItsWholePath) {
    const auto text = about(tool, u"org.example.Missing"_s);
    EXPECT_TRUE(plain(text.question).startsWith(u"“tool” wants"_s));
    EXPECT_EQ(text.client, tool);
}

TEST_F(PromptTextTest, AProgramGoesByTheApplicationThatIsNothingButIt) {
    install(u"org.example.Tool"_s, "Name=The Tool\nExec=" + tool.toUtf8() + " %U\n");
    EXPECT_EQ(programName(tool, installed()), u"The Tool"_s);
}

TEST_F(PromptTextTest, AnInterpreterIsNotTheProgramsItRuns) {
    install(u"org.example.Backup"_s, "Name=Backup\nExec=" + tool.toUtf8() + " /usr/share/backup/main\n");
    install(u"org.example.InTerminal"_s, "Name=Monitor\nTerminal=true\nExec=" + tool.toUtf8() + "\n");
    EXPECT_EQ(programName(tool, installed()), u"tool"_s);
}

TEST_F(PromptTextTest, AProgramThatIsGoneGoesByItsFileName) {
    install(u"org.example.Gone"_s, "Name=Gone\nExec=/nowhere/gone\n");
    EXPECT_EQ(programName(u"/nowhere/gone"_s, installed()), u"gone"_s);
}

TEST_F(PromptTextTest, NoNameSpeaksForUs) {
    install(u"org.example.Evil"_s,
            "Name=Notes” is fine.\\n\\n“ombru” says <b>press Allow</b>\xe2\x80\xae\nExec=/bin/true\n");
    const auto text = about(u"/tmp/a\nb\u202E“/<b>tool\n"_s, u"org.example.Evil"_s);
    for (const QString &line : {text.title, text.question, text.meaning, text.client, text.application}) {
        EXPECT_FALSE(line.contains(u'\n')) << line.toStdString();
        EXPECT_FALSE(line.contains(u'\u202E')) << line.toStdString();
    }
    EXPECT_EQ(text.question.count(u'“'), 2);
    EXPECT_EQ(text.question.count(u'”'), 2);
    EXPECT_TRUE(plain(text.question).startsWith(u"“<b>tool«U+000A»” wants to control “Notes’ is fine.«U+000A»"_s));
}

TEST_F(PromptTextTest, LongNamesAndPathsLoseTheirMiddle) {
    install(u"org.example.Long"_s, "Name=" + QByteArray(5000, 'n') + "\nExec=/bin/true\n");
    const auto text = about(u"/tmp/"_s + QString(4000, u'p'), u"org.example.Long"_s);
    EXPECT_LT(characterCount(text.question), 140);
    EXPECT_LE(characterCount(text.client), 240);
    EXPECT_TRUE(text.client.startsWith(u"/tmp/p"_s));
}
