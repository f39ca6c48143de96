#include "platform/linux/applications/InstalledApplications.h"
#include "tests/support/Processes.h"
#include "tests/support/Variable.h"

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

QString idOf(const DesktopEntry *entry) {
    return entry ? entry->id : QString();
}

std::optional<DesktopEntry> parse(const QByteArray &lines, const QString &locale = u"C"_s) {
    return parseDesktopEntry(u"x"_s, u"/x.desktop"_s, "[Desktop Entry]\nType=Application\nName=X\n" + lines, locale);
}

QList<QStringList> lines(const QByteArray &exec, const QStringList &files = {}) {
    const auto entry = parse("Icon=pic\nExec=" + exec + "\n");
    EXPECT_TRUE(entry);
    const auto commands = commandLines(*entry, files);
    return commands.value_or(QList<QStringList>{});
}

class ApplicationsTest : public ::testing::Test {
protected:
    void entry(const QString &id, const QByteArray &lines) {
        const auto file = u"data/applications/"_s + id + u".desktop"_s;
        QDir().mkpath(QFileInfo(scratch.path(file)).path());
        scratch.write(file, "[Desktop Entry]\nType=Application\n" + lines);
    }
    void write(const QString &file, const QByteArray &text) {
        QDir().mkpath(QFileInfo(scratch.path(file)).path());
        scratch.write(file, text);
    }
    Applications read(const QString &locale = u"C"_s) {
        return Applications(
            {{scratch.path(u"data"_s), scratch.path(u"system"_s)}, {scratch.path(u"config"_s)}, u"GNOME"_s, locale});
    }
    test::Scratch scratch;
};

} // namespace

TEST(DesktopEntry, TakesTheNameInTheOwnersLanguage) {
    const QByteArray names = "Exec=x\nName[de]=Iks\nName[de_AT]=Ix\n";
    EXPECT_EQ(parse(names, u"de_DE"_s)->name, u"Iks"_s);
    EXPECT_EQ(parse(names, u"de_AT"_s)->name, u"Ix"_s);
    EXPECT_EQ(parse(names, u"fr_FR"_s)->name, u"X"_s);
    EXPECT_EQ(parse(names, u"de_AT"_s)->plainName, u"X"_s);
}

TEST(DesktopEntry, IsNoneWhenThereIsNothingToStart) {
    EXPECT_FALSE(parse("NoExec=x\n"));
    EXPECT_FALSE(parse("Exec=x\nHidden=true\n"));
    EXPECT_FALSE(parse("Exec=x\nTryExec=/no/such/file\n"));
    EXPECT_FALSE(parse("Exec=x\nTryExec=no-such-program-anywhere\n"));
    EXPECT_TRUE(parse("Exec=x\nTryExec=sh\n"));
    EXPECT_FALSE(parseDesktopEntry(u"x"_s, u"x"_s, "[Desktop Entry]\nType=Link\nName=X\nExec=x\n", u"C"_s));
    EXPECT_FALSE(parseDesktopEntry(u"x"_s, u"x"_s, "\xff\xfe[[[\0=", u"C"_s));
}

TEST(DesktopEntry, IsReadInSpiteOfLinesThatAreNone) {
    const auto read = [](const QByteArray &content) { return parseDesktopEntry(u"x"_s, u"x"_s, content, u"C"_s); };
    const QByteArray entry = "[Desktop Entry]\nType=Application\nName=X\nExec=x\n";
    EXPECT_TRUE(read("\xEF\xBB\xBF" + entry)) << "a byte order mark";
    EXPECT_TRUE(read("stray=1\n" + entry));
    EXPECT_TRUE(read("[Desktop Entry]\nEncoding=ISO-8859-1\nstray\n=x\nName[a b]=y\n; no comment\n" + entry));
    EXPECT_EQ(read(entry + "Name=caf\xE9\n")->name, u"caf\uFFFD"_s);
    EXPECT_EQ(read(entry + "Exec=x \\q\n")->exec, u"x \\q"_s) << "an escape that is none";
    EXPECT_EQ(read(entry + "Name=x\\\n")->name, u"x"_s) << "an escape without its letter";
}

TEST(DesktopEntry, SpacesAtTheEndAreNoPartOfAValue) {
    const auto entry = parse("Exec=x \nTerminal=true\t\nStartupWMClass=Foo \r\nCategories=A;B; \n");
    ASSERT_TRUE(entry);
    EXPECT_TRUE(entry->terminal);
    EXPECT_EQ(entry->windowClass, u"Foo"_s);
    EXPECT_EQ(entry->categories, (QStringList{u"A"_s, u"B"_s}));
    EXPECT_FALSE(parse("Exec=x\nHidden=true \n"));
}

TEST(DesktopEntry, KnowsOnlyItsOwnGroup) {
    EXPECT_EQ(parse("Exec=right\n[Desktop Action New]\nExec=wrong\nName=wrong\n")->exec, u"right"_s);
}

TEST(CommandLines, FieldCodesStandForTheFiles) {
    EXPECT_EQ(lines("app %F", {u"/a b"_s, u"/c"_s}), (QList<QStringList>{{u"app"_s, u"/a b"_s, u"/c"_s}}));
    EXPECT_EQ(lines("app --x %U", {}), (QList<QStringList>{{u"app"_s, u"--x"_s}}));
    EXPECT_EQ(lines("app %f", {u"/a"_s, u"/b"_s}), (QList<QStringList>{{u"app"_s, u"/a"_s}, {u"app"_s, u"/b"_s}}));
    EXPECT_EQ(lines("app --file=%f", {u"/a"_s}), (QList<QStringList>{{u"app"_s, u"--file=/a"_s}}));
    EXPECT_EQ(lines("app", {u"/a"_s}), (QList<QStringList>{{u"app"_s, u"/a"_s}})) << "files are never lost";
}

TEST(CommandLines, OtherCodesAreReplacedOrDropped) {
    EXPECT_EQ(lines("app %i 100%% %c %k %d"),
              (QList<QStringList>{{u"app"_s, u"--icon"_s, u"pic"_s, u"100%"_s, u"X"_s, u"/x.desktop"_s}}));
}

TEST(CommandLines, ProgramsThatWantUrlsGetUrls) {
    EXPECT_EQ(lines("app %U", {u"/a b"_s, u"https://x.org/?q=1"_s}),
              (QList<QStringList>{{u"app"_s, u"file:///a%20b"_s, u"https://x.org/?q=1"_s}}));
    EXPECT_EQ(lines("app --uri=%u", {u"/a"_s}), (QList<QStringList>{{u"app"_s, u"--uri=file:///a"_s}}));
    EXPECT_EQ(lines("app %f", {u"file:///a%20b"_s}), (QList<QStringList>{{u"app"_s, u"/a b"_s}}));
}

TEST(CommandLines, CodesThatNobodyKnowsAreRefused) {
    EXPECT_TRUE(lines("app %z").isEmpty());
    EXPECT_TRUE(lines("app 100%").isEmpty());
}

TEST(CommandLines, ALiteralPercentIsNoPlaceForFiles) {
    EXPECT_EQ(lines("app %%f", {u"/a"_s, u"/b"_s}), (QList<QStringList>{{u"app"_s, u"%f"_s, u"/a"_s, u"/b"_s}}));
}

TEST(DesktopEntry, EnvIsNotTheProgramItStarts) {
    EXPECT_EQ(parse("Exec=env LANG=C GTK=1 /usr/bin/editor %F\n")->program(), u"editor"_s);
}

TEST(CommandLines, QuotesHoldWordsTogether) {
    EXPECT_EQ(lines(R"("/opt/my app/run" -e "a \\"b\\" \\$c")"),
              (QList<QStringList>{{u"/opt/my app/run"_s, u"-e"_s, u"a \"b\" $c"_s}}));
    EXPECT_EQ(lines("sh -c 'a \"b\" c'"), (QList<QStringList>{{u"sh"_s, u"-c"_s, u"a \"b\" c"_s}}));
    EXPECT_TRUE(lines("\"unfinished").isEmpty());
}

TEST_F(ApplicationsTest, AreFoundByIdentifierInAnyCaseAndFolder) {
    entry(u"org.Example.Editor"_s, "Name=Editor\nExec=editor\n");
    entry(u"kde/konsole"_s, "Name=Konsole\nExec=konsole\n");
    const auto applications = read();
    EXPECT_EQ(idOf(applications.withId(u"org.example.editor"_s)), u"org.Example.Editor"_s);
    EXPECT_EQ(idOf(applications.withId(u"kde-konsole"_s)), u"kde-konsole"_s);
    EXPECT_EQ(applications.withId(u"editor"_s), nullptr);
}

TEST_F(ApplicationsTest, AreReadFromFilesOfTheirKindAlone) {
    entry(u"kde/it"_s, "Name=It\nExec=it\n");
    write(u"data/applications/LOUD.DESKTOP"_s, "[Desktop Entry]\nType=Application\nName=Loud\nExec=loud\n");
    write(u"data/applications/it.desktop.bak"_s, "[Desktop Entry]\nType=Application\nName=Old\nExec=old\n");
    write(u"data/applications/desktop"_s, "[Desktop Entry]\nType=Application\nName=None\nExec=none\n");
    const auto applications = read();
    EXPECT_EQ(applications.all().size(), 2U);
    EXPECT_EQ(idOf(applications.withId(u"loud"_s)), u"LOUD"_s);
    EXPECT_TRUE(applications.sources().contains(scratch.path(u"data/applications/kde"_s)));
    EXPECT_TRUE(applications.sources().contains(scratch.path(u"data/applications/kde/it.desktop"_s)));
    EXPECT_FALSE(applications.sources().contains(scratch.path(u"data/applications/it.desktop.bak"_s)));
}

TEST_F(ApplicationsTest, AreFoundByAnyNameTheyGoBy) {
    entry(u"org.Example.Pad"_s, "Name=Notepad\nName[de]=Notizblock\nExec=/usr/bin/padd %F\nStartupWMClass=PadWindow\n");
    const auto applications = read(u"de_DE"_s);
    for (const auto &name :
         {u"Notizblock"_s, u"notepad"_s, u"NOTEPAD.app"_s, u"Pad"_s, u"padd"_s, u"padwindow"_s, u"org.Example.Pad"_s})
        EXPECT_EQ(idOf(applications.named(name)), u"org.Example.Pad"_s) << name.toStdString();
    EXPECT_EQ(applications.named(u"Nothing"_s), nullptr);
    EXPECT_EQ(applications.named({}), nullptr);
}

TEST_F(ApplicationsTest, AreFoundByTheirFilesWholeName) {
    entry(u"org.x.Editor"_s, "Name=Editor\nExec=editor\n");
    entry(u"odd.desktop"_s, "Name=Odd\nExec=odd\n");
    const auto applications = read();
    EXPECT_EQ(idOf(applications.withId(u"org.x.Editor.desktop"_s)), u"org.x.Editor"_s);
    EXPECT_EQ(idOf(applications.withId(u"odd.desktop"_s)), u"odd.desktop"_s);
    EXPECT_EQ(applications.withId(u".desktop"_s), nullptr);
    EXPECT_EQ(applications.withId({}), nullptr);
}

// Where the same identifier is used on both systems, nothing else is meant by it.
TEST_F(ApplicationsTest, AnInstalledIdentifierIsTakenAsItIs) {
    entry(u"chromium"_s, "Name=Chromium\nExec=chromium\nCategories=WebBrowser;\n");
    entry(u"com.google.Chrome"_s, "Name=Google Chrome\nExec=/usr/bin/flatpak run com.google.Chrome\n");
    EXPECT_EQ(idOf(read().withId(u"com.google.Chrome"_s)), u"com.google.Chrome"_s);
    entry(u"org.videolan.vlc"_s, "Name=VLC\nExec=vlc\n");
    EXPECT_EQ(idOf(read().named(u"VLC"_s)), u"org.videolan.vlc"_s);
}

TEST_F(ApplicationsTest, AreFoundByTheirNameInAnyLanguage) {
    entry(u"a"_s, "Name=Files\nName[de]=Dateien\nName[fr]=Fichiers\nExec=a\nNoDisplay=true\n");
    entry(u"b"_s, "Name=Folders\nName[de]=Dateien\nName[pt_BR]=Pastas\nExec=b\n");
    entry(u"c"_s, "Name=Fichiers\nExec=c\n");
    const auto applications = read(u"en_GB"_s);
    EXPECT_EQ(idOf(applications.named(u"dateien"_s)), u"b"_s);
    EXPECT_EQ(idOf(applications.named(u"Pastas.app"_s)), u"b"_s);
    EXPECT_EQ(idOf(applications.named(u"Fichiers"_s)), u"c"_s) << "the owner's own language counts more";
    EXPECT_EQ(idOf(read(u"fr_FR.UTF-8"_s).named(u"Fichiers"_s)), u"c"_s) << "menus count more";
}

TEST_F(ApplicationsTest, AreFoundByAMacsPath) {
    entry(u"web"_s, "Name=Web\nExec=web\nMimeType=x-scheme-handler/https;\n");
    entry(u"pad"_s, "Name=Pad\nExec=/usr/bin/padd\n");
    EXPECT_EQ(idOf(read().named(u"/Applications/Safari.app"_s)), u"web"_s);
    EXPECT_EQ(idOf(read().named(u"/Applications/Pad.APP"_s)), u"pad"_s);
    EXPECT_EQ(idOf(read().named(u"/usr/bin/padd"_s)), u"pad"_s);
    EXPECT_EQ(read().named(u"/"_s), nullptr);
}

TEST_F(ApplicationsTest, WhatOtherDesktopsMenusShowComesLast) {
    entry(u"a"_s, "Name=Settings\nExec=a\nOnlyShowIn=XFCE;KDE;\n");
    entry(u"b"_s, "Name=Settings\nExec=b\nOnlyShowIn=Unity;GNOME;\n");
    entry(u"c"_s, "Name=Tool\nExec=c\nNotShowIn=GNOME;\n");
    entry(u"d"_s, "Name=Tool\nExec=d\n");
    EXPECT_EQ(idOf(read().named(u"Settings"_s)), u"b"_s);
    EXPECT_EQ(idOf(read().named(u"Tool"_s)), u"d"_s);
    EXPECT_EQ(idOf(read().withId(u"a"_s)), u"a"_s);
}

TEST(OwnersPlaces, HavePackagesOfTheirOwnAlsoWhenTheSessionDoesNotSaySo) {
    const test::Variable home("HOME", "/home/x");
    const test::Variable own("XDG_DATA_HOME");
    const test::Variable system("XDG_DATA_DIRS", "/opt/share/:relative::/var/lib/snapd/desktop");
    EXPECT_EQ(Applications::ownersPlaces().data,
              (QStringList{u"/home/x/.local/share"_s, u"/opt/share"_s, u"/var/lib/snapd/desktop"_s,
                           u"/home/x/.local/share/flatpak/exports/share"_s, u"/var/lib/flatpak/exports/share"_s}));
    const test::Variable elsewhere("XDG_DATA_HOME", "/data");
    const test::Variable standard("XDG_DATA_DIRS");
    EXPECT_EQ(Applications::ownersPlaces().data,
              (QStringList{u"/data"_s, u"/usr/local/share"_s, u"/usr/share"_s, u"/data/flatpak/exports/share"_s,
                           u"/var/lib/flatpak/exports/share"_s, u"/var/lib/snapd/desktop"_s}));
}

TEST(OwnersPlaces, AreWholePaths) {
    const test::Variable own("XDG_DATA_HOME", "relative");
    const test::Variable system("XDG_DATA_DIRS", "relative:");
    const test::Variable config("XDG_CONFIG_HOME", "relative");
    const test::Variable configs("XDG_CONFIG_DIRS", "relative:/etc//xdg/");
    const auto places = Applications::ownersPlaces();
    EXPECT_EQ(places.data, (QStringList{u"/var/lib/flatpak/exports/share"_s, u"/var/lib/snapd/desktop"_s}));
    EXPECT_EQ(places.config, QStringList{u"/etc/xdg"_s});
}

TEST_F(ApplicationsTest, AreNamedInTheLanguageOfTheDesktop) {
    entry(u"a"_s, "Name=Files\nName[de]=Dateien\nName[fr]=Fichiers\nExec=a\n");
    const test::Variable own("XDG_DATA_HOME", scratch.path(u"data"_s).toUtf8());
    const test::Variable all("LC_ALL");
    const test::Variable languages("LANGUAGE");
    const test::Variable numbers("LC_NUMERIC", "fr_FR.UTF-8");
    const test::Variable messages("LC_MESSAGES");
    const test::Variable lang("LANG", "de_AT.UTF-8");
    const auto name = [] { return installedApplications()->withId(u"a"_s)->name; };
    EXPECT_EQ(name(), u"Dateien"_s);
    const test::Variable french("LC_MESSAGES", "fr_CH");
    EXPECT_EQ(name(), u"Fichiers"_s);
    const test::Variable list("LANGUAGE", "nl:de");
    EXPECT_EQ(name(), u"Dateien"_s);
    const test::Variable none("LC_ALL", "C.UTF-8");
    EXPECT_EQ(name(), u"Files"_s);
}

TEST_F(ApplicationsTest, MenusCountBeforeWhatTheyHide) {
    entry(u"a"_s, "Name=Same\nExec=a\nNoDisplay=true\n");
    entry(u"b"_s, "Name=Same\nExec=b\n");
    EXPECT_EQ(idOf(read().named(u"Same"_s)), u"b"_s);
    EXPECT_EQ(read().named(u".app"_s), nullptr) << "no name is nobody's, also without a window class";
}

TEST_F(ApplicationsTest, AnOwnersEntryHidesTheSystemsOfTheSameName) {
    entry(u"x"_s, "Name=Mine\nExec=mine\nHidden=true\n");
    write(u"system/applications/x.desktop"_s, "[Desktop Entry]\nType=Application\nName=Theirs\nExec=theirs\n");
    EXPECT_EQ(read().withId(u"x"_s), nullptr);
}

TEST_F(ApplicationsTest, MacNamesStandForTheDefaultOfTheSameJob) {
    entry(u"zed"_s, "Name=Zed\nExec=zed\nMimeType=text/plain;\nCategories=TextEditor;\n");
    entry(u"alpha"_s, "Name=Alpha\nExec=alpha\nMimeType=text/plain;\nCategories=TextEditor;\n");
    entry(u"office"_s, "Name=Office\nExec=office\nMimeType=text/plain;\n");
    entry(u"term"_s, "Name=Some Terminal\nExec=term\nCategories=System;TerminalEmulator;\n");
    entry(u"web"_s, "Name=Web\nExec=web\nMimeType=x-scheme-handler/https;\nCategories=WebBrowser;\n");
    EXPECT_EQ(idOf(read().named(u"TextEdit"_s)), u"alpha"_s);
    write(u"config/mimeapps.list"_s, "[Default Applications]\ntext/plain=gone.desktop;zed.desktop;\n");
    const auto applications = read();
    EXPECT_EQ(idOf(applications.named(u"textedit"_s)), u"zed"_s);
    EXPECT_EQ(idOf(applications.withId(u"com.apple.TextEdit"_s)), u"zed"_s);
    EXPECT_EQ(idOf(applications.named(u"Terminal"_s)), u"term"_s);
    EXPECT_EQ(idOf(applications.named(u"Safari"_s)), u"web"_s);
    EXPECT_EQ(applications.named(u"Mail"_s), nullptr);
}

TEST_F(ApplicationsTest, TheDesktopsOwnDefaultsComeFirst) {
    entry(u"a"_s, "Name=A\nExec=a\n");
    entry(u"b"_s, "Name=B\nExec=b\n");
    write(u"config/mimeapps.list"_s, "[Default Applications]\ntext/plain=a.desktop\n");
    write(u"config/gnome-mimeapps.list"_s,
          "[Default Applications]\ntext/plain=b.desktop\n[Added Associations]\ntext/plain=a.desktop\n");
    EXPECT_EQ(idOf(read().defaultFor(u"text/plain"_s)), u"b"_s);
}

TEST_F(ApplicationsTest, ApplicationsOfBothSystemsAreFoundUnderTheOthersIdentifier) {
    entry(u"chromium"_s, "Name=Chromium\nExec=chromium\n");
    entry(u"firefox-esr"_s, "Name=Firefox ESR\nExec=firefox-esr\n");
    const auto applications = read();
    EXPECT_EQ(idOf(applications.withId(u"com.google.Chrome"_s)), u"chromium"_s);
    EXPECT_EQ(idOf(applications.named(u"Google Chrome"_s)), u"chromium"_s);
    EXPECT_EQ(idOf(applications.withId(u"org.mozilla.firefox"_s)), u"firefox-esr"_s);
}

TEST_F(ApplicationsTest, ABrowserUnderAnotherNameIsFoundByItsFamiliarOne) {
    entry(u"firefox-esr"_s, "Name=Firefox ESR\nExec=firefox-esr\n");
    EXPECT_EQ(idOf(read().named(u"Firefox"_s)), u"firefox-esr"_s);
}

TEST_F(ApplicationsTest, AssociationsThatWereAddedCountAndRemovedOnesDoNot) {
    entry(u"a"_s, "Name=A\nExec=a\nMimeType=text/plain;\n");
    entry(u"b"_s, "Name=B\nExec=b\n");
    EXPECT_EQ(idOf(read().defaultFor(u"text/plain"_s)), u"a"_s);
    write(u"config/mimeapps.list"_s,
          "[Removed Associations]\ntext/plain=a.desktop;\n[Added Associations]\ntext/plain=b.desktop;\n");
    EXPECT_EQ(idOf(read().defaultFor(u"text/plain"_s)), u"b"_s);
    write(u"config/mimeapps.list"_s, "[Removed Associations]\ntext/plain=a.desktop;\n");
    EXPECT_EQ(read().defaultFor(u"text/plain"_s), nullptr);
}

TEST_F(ApplicationsTest, AnAdditionBelowDoesNotUndoARemoval) {
    entry(u"a"_s, "Name=A\nExec=a\n");
    write(u"config/mimeapps.list"_s, "[Removed Associations]\ntext/plain=a.desktop;\n");
    write(u"system/applications/mimeapps.list"_s, "[Added Associations]\ntext/plain=a.desktop;\n");
    EXPECT_EQ(read().defaultFor(u"text/plain"_s), nullptr);
}

TEST_F(ApplicationsTest, ProgramsInATerminalAreTheLastChoice) {
    entry(u"a"_s, "Name=A\nExec=a\nTerminal=true\nMimeType=text/plain;\nCategories=TextEditor;\n");
    entry(u"b"_s, "Name=B\nExec=b\nCategories=TextEditor;\n");
    EXPECT_EQ(idOf(read().named(u"TextEdit"_s)), u"b"_s);
}

TEST_F(ApplicationsTest, AWindowBelongsToTheEntryThatFitsItsClass) {
    entry(u"org.x.Editor"_s, "Name=Editor\nExec=editor\nStartupWMClass=Fancy\n");
    entry(u"debian-xterm"_s, "Name=XTerm\nExec=xterm\n");
    const auto applications = read();
    EXPECT_EQ(idOf(applications.ofWindow(u"fancy"_s, u"x"_s)), u"org.x.Editor"_s);
    EXPECT_EQ(idOf(applications.ofWindow(u"XTerm"_s, u"xterm"_s)), u"debian-xterm"_s);
    EXPECT_EQ(idOf(applications.ofWindow(u"Editor"_s, u"other"_s)), u"org.x.Editor"_s);
    EXPECT_EQ(applications.ofWindow({}, {}), nullptr);
}

TEST_F(ApplicationsTest, AWindowIsNotTakenForTheSettingsOfItsProgram) {
    entry(u"editor-settings"_s, "Name=A Editor Settings\nExec=editor --preferences\n");
    entry(u"org.x.editor"_s, "Name=Editor\nExec=editor %U\n");
    EXPECT_EQ(idOf(read().ofWindow(u"Editor"_s, u"editor"_s)), u"org.x.editor"_s);
}

TEST_F(ApplicationsTest, GarbageAndHugeFilesAreNoTrouble) {
    write(u"data/applications/huge.desktop"_s, QByteArray(3 << 20, '='));
    write(u"data/applications/binary.desktop"_s, QByteArray("\0\xff[Desktop Entry]\n=", 19));
    write(u"config/mimeapps.list"_s, QByteArray("[Default Applications]\n=;;;\ntext/plain\n\xff", 38));
    entry(u"ok"_s, "Name=OK\nExec=ok\n");
    EXPECT_EQ(read().all().size(), 1u);
}

TEST_F(ApplicationsTest, AreReadOnceWhileNothingChanges) {
    entry(u"a"_s, "Name=A\nExec=a\n");
    const test::Variable home("HOME", scratch.directory().toUtf8());
    const test::Variable own("XDG_DATA_HOME", scratch.path(u"data"_s).toUtf8());
    const test::Variable system("XDG_DATA_DIRS", scratch.path(u"system"_s).toUtf8());
    const test::Variable config("XDG_CONFIG_HOME", scratch.path(u"config"_s).toUtf8());
    ASSERT_EQ(std::system(("find '" + scratch.directory().toUtf8() + "' -exec touch -d 2020-01-01 {} +").constData()),
              0);
    const auto first = installedApplications();
    ASSERT_NE(first->withId(u"a"_s), nullptr);
    EXPECT_EQ(installedApplications(), first);
    entry(u"b"_s, "Name=B\nExec=b\n");
    EXPECT_NE(installedApplications(), first);
    EXPECT_EQ(first->withId(u"b"_s), nullptr) << "what was handed out stays as it was";
}
