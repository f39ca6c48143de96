// Which programs run texts, and which only choose another program, by their names.
#include "platform/linux/applications/ProgramProcesses.h"

#include "tests/support/Processes.h"

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

class ProgramNames : public testing::Test {
protected:
    void SetUp() override { QDir().mkpath(scratch.path(u"data/applications"_s)); }

    void install(const QString &id, const QString &exec) const {
        scratch.write(u"data/applications/"_s + id + u".desktop"_s,
                      "[Desktop Entry]\nType=Application\nName=" + id.toUtf8() + "\nExec=" + exec.toUtf8() + "\n");
    }
    Applications installed() const { return Applications({{scratch.path(u"data"_s)}, {}, {}, u"C"_s}); }

    // It is the text that tells applications of an interpreter apart.
    bool runsTexts(const QString &program) const {
        install(u"one"_s, program + u" /bin/sh"_s);
        install(u"other"_s, program + u" /bin/ls"_s);
        const auto applications = installed();
        return applicationsOfSameProgram(*applications.withId(u"one"_s), applications).size() == 1;
    }
    bool leavesTheChoiceTo(const QString &program) const {
        install(u"one"_s, program + u" /tmp"_s);
        const auto applications = installed();
        return leavesTheChoice(*applications.withId(u"one"_s));
    }

    test::Scratch scratch;
};

} // namespace

TEST_F(ProgramNames, InterpretersRunTextsWhateverTheirVersion) {
    for (const auto &name : {u"sh"_s, u"bash"_s, u"busybox"_s, u"python"_s, u"python3"_s, u"python3.11"_s,
                             u"/opt/bin/perl5.36"_s, u"ruby3.1"_s, u"node"_s, u"gjs"_s, u"gjs-console"_s, u"java"_s,
                             u"wine"_s, u"wine64"_s, u"wine-stable"_s, u"lua5.4"_s, u"tclsh8.6"_s, u"guile3.0"_s})
        EXPECT_TRUE(runsTexts(name)) << name.toStdString();
}

TEST_F(ProgramNames, OthersDoNotWhateverTheyBeginWith) {
    for (const auto &name : {u"editor"_s, u"show"_s, u"bashful"_s, u"pythonic"_s, u"python3-config"_s, u"3python"_s,
                             u"gjs2"_s, u"javac"_s, u"luakit"_s, u"Python3"_s, u"7z"_s, u"0.1"_s})
        EXPECT_FALSE(runsTexts(name)) << name.toStdString();
}

TEST_F(ProgramNames, OpenersLeaveTheChoice) {
    for (const auto &name : {u"xdg-open"_s, u"xdg-email"_s, u"exo-open"_s, u"gio"_s, u"kde-open"_s, u"kde-open5"_s,
                             u"/usr/bin/sensible-browser"_s})
        EXPECT_TRUE(leavesTheChoiceTo(name)) << name.toStdString();
    for (const auto &name : {u"editor"_s, u"open"_s, u"xdg-opens"_s, u"kde-opener"_s, u"gio5"_s})
        EXPECT_FALSE(leavesTheChoiceTo(name)) << name.toStdString();
}
