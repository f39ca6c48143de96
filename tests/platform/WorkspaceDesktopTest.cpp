// Applications on a real desktop, as the application itself sees and starts them; osascript finds them as they were
// left.
#include "platform/Workspace.h"
#include "platform/linux/applications/DesktopApplications.h"
#include "tests/support/Consent.h"
#include "tests/support/DesktopModule.h"
#include "tests/support/Variable.h"

#include <QSet>

#include <thread>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString EDITOR = u"org.xfce.mousepad"_s;
const QString TERMINAL = u"debian-xterm"_s;

std::vector<DesktopWindow> windowsOf(Desktop &desktop, const QString &className) {
    auto all = desktop.taskbar().windows().value_or(std::vector<DesktopWindow>());
    std::erase_if(all, [&](const auto &window) { return window.className != className; });
    return all;
}

QString run(const QByteArray &script) {
    QByteArray out;
    FILE *pipe = ::popen(("'" + qgetenv("OMBRU_BIN") + "/osascript' -e '" + script + "' 2>&1").constData(), "r");
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe))
        out += buffer;
    EXPECT_EQ(::pclose(pipe), 0) << script.toStdString() << "\n" << out.toStdString();
    return QString::fromUtf8(out).trimmed();
}

class AnApplicationOnADesktop : public testing::Test {
protected:
    AnApplicationOnADesktop() {
        allow(qEnvironmentVariable("XDG_DATA_HOME"), {u"TextEdit"_s, u"late"_s, u"XTerm"_s}); // whose windows they use
        m_own = startProgram("'" + qgetenv("OMBRU_BIN") + "/../tests/input-target' '" +
                                 m_scratch.path(u"text"_s).toUtf8() + "' " + title.toUtf8(),
                             "");
        focusWindow(*m_desktop, title);
    }
    ~AnApplicationOnADesktop() override {
        QSet<qint64> ended;
        for (const QString &className : {u"Mousepad"_s, u"XTerm"_s, u"Late"_s})
            for (const auto &window : windowsOf(*m_desktop, className))
                ended.insert(window.pid);
        for (const auto pid : ended)
            ::kill(static_cast<pid_t>(pid), SIGTERM);
        for (const auto pid : ended)
            EXPECT_TRUE(waitUntil([&] { return !isAlive(pid); }));
    }
    bool ownHasFocus() const { return windowTitled(*m_desktop, title).value_or(DesktopWindow()).focused; }

    void install(const QString &id, const QByteArray &exec) const {
        const auto folder = qEnvironmentVariable("XDG_DATA_HOME") + u"/applications"_s;
        QDir().mkpath(folder);
        QFile file(folder + u'/' + id + u".desktop"_s);
        ASSERT_TRUE(file.open(QFile::WriteOnly));
        file.write("[Desktop Entry]\nType=Application\nName=" + id.toUtf8() + "\nExec=" + exec + "\n");
    }

    static inline int number = 0;
    const QString title = u"own-%1."_s.arg(++number);
    Scratch m_scratch;
    std::unique_ptr<Desktop> m_desktop = openDesktop();
    std::unique_ptr<Companion> m_own;
};

} // namespace

TEST_F(AnApplicationOnADesktop, IsStartedOutOfSightWithTheFocusLeftWhereItWas) {
    for (const auto &[id, className] : {std::pair(EDITOR, u"Mousepad"_s), std::pair(TERMINAL, u"XTerm"_s)}) {
        EXPECT_FALSE(applicationRuns(id));
        const auto opened = openApplicationHidden(id);
        ASSERT_TRUE(opened) << words(opened);
        EXPECT_TRUE(applicationRuns(id));
        const auto windows = windowsOf(*m_desktop, className);
        ASSERT_EQ(windows.size(), 1u) << className.toStdString();
        EXPECT_TRUE(windows.front().minimized);
        EXPECT_TRUE(ownHasFocus());
    }
}

TEST_F(AnApplicationOnADesktop, IsBroughtUpByAScriptAsItWasStarted) {
    ASSERT_TRUE(openApplicationHidden(EDITOR));
    const auto hidden = windowsOf(*m_desktop, u"Mousepad"_s);
    ASSERT_EQ(hidden.size(), 1u);
    run("tell application \"TextEdit\" to activate");
    const auto shown = windowsOf(*m_desktop, u"Mousepad"_s);
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown.front().handle, hidden.front().handle);
    EXPECT_FALSE(shown.front().minimized);
    EXPECT_TRUE(shown.front().focused);
}

TEST_F(AnApplicationOnADesktop, IsLeftAloneWhenItRuns) {
    run("tell application \"TextEdit\" to activate");
    ASSERT_TRUE(openApplicationHidden(u"com.apple.TextEdit"_s));
    const auto windows = windowsOf(*m_desktop, u"Mousepad"_s);
    ASSERT_EQ(windows.size(), 1u);
    EXPECT_FALSE(windows.front().minimized);
    EXPECT_TRUE(windows.front().focused);
}

TEST_F(AnApplicationOnADesktop, IsStartedOnceHoweverManyAsk) {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 3; ++thread)
        threads.emplace_back([] { EXPECT_TRUE(openApplicationHidden(TERMINAL)); });
    threads.clear();
    EXPECT_EQ(windowsOf(*m_desktop, u"XTerm"_s).size(), 1u);
    EXPECT_TRUE(ownHasFocus());
}

TEST_F(AnApplicationOnADesktop, ThatIsNotInstalledIsSaid) {
    const auto opened = openApplicationHidden(u"org.x.None"_s);
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().domain, u"workspace"_s);
    EXPECT_TRUE(opened.error().description.contains(u"org.x.None"_s)) << words(opened);
    EXPECT_TRUE(openApplicationHidden(u"com.apple.systemevents"_s));
}

TEST_F(AnApplicationOnADesktop, ThatCannotBeStartedIsSaid) {
    install(u"broken"_s, "/no/such/program");
    const auto opened = openApplicationHidden(u"broken"_s);
    ASSERT_FALSE(opened);
    EXPECT_TRUE(opened.error().description.contains(u"/no/such/program"_s)) << words(opened);
}

TEST_F(AnApplicationOnADesktop, WithoutAWindowIsNotWaitedForLong) {
    install(u"windowless"_s, "sleep 600");
    const auto opened = openApplicationHidden(u"windowless"_s);
    EXPECT_TRUE(opened) << words(opened);
    EXPECT_TRUE(applicationRuns(u"windowless"_s));
    EXPECT_TRUE(ownHasFocus());
}

// It began a moment ago: a second one would be a second window.
TEST_F(AnApplicationOnADesktop, ThatIsStartingIsWaitedForInsteadOfStartedAgain) {
    install(u"late"_s, m_scratch
                           .script(u"late"_s, "echo x >> '" + m_scratch.path(u"starts"_s).toUtf8() +
                                                  "'; sleep 2; xterm -name late -class Late -e cat; exit")
                           .toUtf8());
    ASSERT_EQ(std::system(("'" + m_scratch.path(u"late"_s).toUtf8() + "' &").constData()), 0);
    ASSERT_TRUE(waitUntil([] { return applicationRuns(u"late"_s); }));
    run("tell application \"late\" to launch");
    EXPECT_EQ(windowsOf(*m_desktop, u"Late"_s).size(), 1u);
    run("tell application \"late\" to activate");
    EXPECT_EQ(windowsOf(*m_desktop, u"Late"_s).size(), 1u);
    EXPECT_TRUE(windowsOf(*m_desktop, u"Late"_s).front().focused);
    EXPECT_EQ(contents(m_scratch.path(u"starts"_s)), "x\n");
}
