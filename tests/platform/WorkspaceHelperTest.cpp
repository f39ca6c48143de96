// What a program asks of the workspace for itself: places to open, and to be opened again.
#include "base/Process.h"
#include "tests/support/Processes.h"
#include "tests/support/Variable.h"
#include "tests/support/XServer.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString HELPER = qEnvironmentVariable("OMBRU_BIN") + u"/../tests/workspace-helper"_s;

class Asking : public testing::Test {
protected:
    // What stood in the way; empty when nothing did.
    QString open(const QString &address) {
        const auto process = Process::make({.program = m_helper, .arguments = {u"open"_s, address}});
        EXPECT_TRUE(process->start());
        await(process->ended());
        const auto said = QString::fromUtf8(process->takeOutput()).trimmed();
        EXPECT_EQ(process->status() == 0, said.isEmpty());
        return said;
    }
    // A program that notes its arguments.
    QByteArray noting(const QString &name) {
        const auto to = m_scratch.path(name + u".noted"_s).toUtf8();
        return m_scratch.script(name, "printf '[%s]' \"$@\" >'" + to + ".new'; mv '" + to + ".new' '" + to + "'")
            .toUtf8();
    }
    QByteArray noted(const QString &name) {
        const auto file = m_scratch.path(name + u".noted"_s);
        EXPECT_TRUE(waitUntil([&] { return QFile::exists(file); })) << name.toStdString();
        const auto text = contents(file);
        QFile::remove(file);
        return text;
    }
    void SetUp() override { ASSERT_TRUE(QFile::copy(HELPER, m_helper)); }

    Scratch m_scratch;
    const QString m_helper = m_scratch.path(u"it's here"_s);
    const XServer m_server{"320x200x24"};
    Variable m_wayland{"WAYLAND_DISPLAY"};
    Variable m_home{"HOME", m_scratch.directory().toUtf8()};
    Variable m_data{"XDG_DATA_HOME", m_scratch.directory().toUtf8()};
    Variable m_system{"XDG_DATA_DIRS", m_scratch.path(u"no-such"_s).toUtf8()};
    Variable m_config{"XDG_CONFIG_HOME", m_scratch.directory().toUtf8()};
    Variable m_path{"PATH", "/usr/bin:/bin"};
};

using Opening = Asking;
using BeingOpenedAgain = Asking;

} // namespace

TEST_F(Opening, PrivacySettingsOpensThemWhereTheAddressLeads) {
    noting(u"ombru-privacy"_s);
    const auto settings = u"x-apple.systempreferences:com.apple.preference.security"_s;
    EXPECT_EQ(open(settings + u"?Privacy_Automation"_s), QString());
    EXPECT_EQ(noted(u"ombru-privacy"_s), "[Privacy_Automation]");
    EXPECT_EQ(open(settings.toUpper() + u"?Privacy_ScreenCapture"_s), QString());
    EXPECT_EQ(noted(u"ombru-privacy"_s), "[Privacy_ScreenCapture]");
    EXPECT_EQ(open(settings), QString());
    EXPECT_EQ(noted(u"ombru-privacy"_s), "[]");
    EXPECT_EQ(open(settings + u"?--help"_s), QString());
    EXPECT_EQ(noted(u"ombru-privacy"_s), "[]") << "an option is no place";
}

TEST_F(Opening, SettingsThatAreNotInstalledNamesTheCommand) {
    const auto said = open(u"x-apple.systempreferences:com.apple.preference.security?Privacy_Automation"_s);
    EXPECT_TRUE(said.contains(u"ombru-privacy"_s)) << said.toStdString();
    EXPECT_TRUE(said.endsWith(u": ombru consent list"_s)) << said.toStdString();
}

TEST_F(Opening, AnAddressOpensTheOwnersApplicationForIt) {
    QDir().mkpath(m_scratch.path(u"applications"_s));
    m_scratch.write(u"applications/web.desktop"_s,
                    "[Desktop Entry]\nType=Application\nName=Web\nMimeType=x-scheme-handler/"
                    "https;\nExec=" +
                        noting(u"web"_s) + " %u\n");
    EXPECT_EQ(open(u"https://example.org/?a=1&b=2"_s), QString());
    EXPECT_EQ(noted(u"web"_s), "[https://example.org/?a=1&b=2]");
}

TEST_F(Opening, WhatNobodyOpensIsSaid) {
    const Variable path("PATH", m_scratch.directory().toUtf8());
    EXPECT_TRUE(open(u"no-such-scheme:thing"_s).contains(u"no-such-scheme:thing"_s));
    EXPECT_FALSE(open(u"not an address"_s).isEmpty());
}

TEST_F(Opening, NeedsADisplay) {
    noting(u"ombru-privacy"_s);
    const Variable display("DISPLAY");
    EXPECT_TRUE(open(u"https://example.org"_s).contains(u"no display"_s));
    EXPECT_TRUE(open(u"x-apple.systempreferences:x?Privacy_Automation"_s).contains(u"no display"_s));
    const Variable wayland("WAYLAND_DISPLAY", "wayland-0");
    EXPECT_TRUE(open(u"x-apple.systempreferences:x?Privacy_Automation"_s).contains(u"no display"_s))
        << "our windows are X11's";
}

TEST_F(BeingOpenedAgain, HappensOnceAfterTheEndAsItWasOpenedFirst) {
    const Variable variable("OMBRU_TEST_VARIABLE", "it's \"kept\"");
    const auto folder = m_scratch.path(u"a folder"_s);
    QDir().mkpath(folder);
    const QStringList arguments{
        u"reopen"_s,          m_scratch.path(u"seen"_s), u"--dashes"_s,        u"-x"_s, u"two words"_s,
        u"it's \"quoted\""_s, u"new\nline\n"_s,          u"$HOME `id` \\ *"_s, u""_s,   u"жёлтый"_s};
    // The shell gives the helper an input that ends when we say so.
    const auto process =
        Process::make({.program = u"/bin/sh"_s,
                       .arguments = QStringList{u"-c"_s,
                                                u"cd 'a folder'; (until [ -e '%1' ]; do sleep 0.05; "
                                                "done) | \"$0\" \"$@\""_s.arg(m_scratch.path(u"end"_s)),
                                                m_helper} +
                                    arguments,
                       .directory = m_scratch.directory()});
    ASSERT_TRUE(process->start());
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(m_scratch.path(u"seen.first"_s)); }));
    EXPECT_FALSE(QFile::exists(m_scratch.path(u"seen"_s))) << "it has not ended yet";
    m_scratch.write(u"end"_s, "");
    await(process->ended());
    ASSERT_EQ(process->status(), 0);
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(m_scratch.path(u"seen"_s)); }));
    const auto seen = QString::fromUtf8(contents(m_scratch.path(u"seen"_s))).split(QChar(u'\0'));
    EXPECT_EQ(seen.value(0), QDir(folder).canonicalPath());
    EXPECT_EQ(seen.value(1), u"it's \"kept\""_s);
    EXPECT_EQ(seen.mid(2), arguments);
}
