// Which windows a script may work by way of System Events.
#include "osascript/Reach.h"

#include "tests/support/Consent.h"
#include "tests/support/Processes.h"

#include <QProcess>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class ReachTest : public testing::Test {
protected:
    ReachTest() {
        QDir().mkpath(m_scratch.path(u"applications"_s));
        install(u"mail"_s, u"Mail"_s, u"mail-program"_s, "StartupWMClass=MailWindow\n");
        install(u"console"_s, u"Console"_s, u"console-program"_s, "Categories=System;TerminalEmulator;\n");
        install(u"notes"_s, u"Notes"_s, u"notes-program"_s, "");
    }

    void install(const QString &id, const QString &name, const QString &program, const QByteArray &lines) {
        m_scratch.write(u"applications/%1.desktop"_s.arg(id),
                        "[Desktop Entry]\nType=Application\nName=" + name.toUtf8() +
                            "\nExec=" + m_scratch.path(program).toUtf8() + "\n" + lines);
    }
    // A process of that program, which lives as long as the test.
    qint64 run(const QString &program) {
        const auto path = m_scratch.path(program);
        EXPECT_TRUE(QFile::copy(u"/bin/sleep"_s, path));
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        auto &process = *m_running.emplace_back(std::make_unique<QProcess>());
        process.start(path, {u"1000"_s});
        EXPECT_TRUE(process.waitForStarted());
        return process.processId();
    }
    ~ReachTest() override {
        for (const auto &process : m_running) {
            process->kill();
            process->waitForFinished();
        }
    }
    static DesktopWindow window(const QString &className, qint64 pid = 0, const QString &instance = {}) {
        static std::uint64_t handle = 0;
        DesktopWindow made;
        made.handle = ++handle;
        made.pid = pid;
        made.className = className;
        made.instance = instance;
        return made;
    }
    void decide(const QString &application, bool allowed) {
        test::decide(m_scratch.directory(), askingClient().id, {application}, allowed);
    }
    bool mayReach(const DesktopWindow &window) { return m_reach.mayReach(window).has_value(); }

    Scratch m_scratch;
    Variable m_data{"XDG_DATA_HOME", m_scratch.directory().toUtf8()};
    Variable m_system{"XDG_DATA_DIRS", m_scratch.path(u"none"_s).toUtf8()};
    std::vector<std::unique_ptr<QProcess>> m_running;
    WaitLimit m_limit;
    ScriptConsent m_consent{m_limit};
    Reach m_reach{m_consent};
};

} // namespace

TEST_F(ReachTest, WhatIsUndecidedIsOpen) {
    EXPECT_TRUE(mayReach(window(u"MailWindow"_s)));
    EXPECT_TRUE(mayReach(window(u"Nobody"_s, 1)));
    EXPECT_TRUE(mayReach(window({})));
}

TEST_F(ReachTest, ARefusedApplicationIsNot) {
    decide(u"mail"_s, false);
    const auto refused = m_reach.mayReach(window(u"MailWindow"_s));
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, -1743);
    EXPECT_EQ(
        refused.error().description,
        u"Not authorized to send Apple events to Mail. The owner has not allowed scripts to use this application: "
        "ask the owner instead of trying another way."_s);
    EXPECT_TRUE(mayReach(window(u"Notes"_s)));
}

TEST_F(ReachTest, ARefusalShowsWhatCannotBeSeenInAName) {
    install(u"sly"_s, u"Mail\u200B"_s, u"sly-program"_s, "StartupWMClass=Sly\n");
    decide(u"sly"_s, false);
    const auto refused = m_reach.mayReach(window(u"Sly"_s));
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().description.startsWith(u"Not authorized to send Apple events to Mail«U+200B». "_s));
}

TEST_F(ReachTest, WhatAWindowCallsItselfDoesNotHideWhoseItIs) {
    decide(u"mail"_s, false);
    for (const auto &[program, name] :
         {std::pair(u"mail-program"_s, u"Mail"_s), {u"console-program"_s, u"Console"_s}}) {
        const auto result = m_reach.mayReach(window(u"Notes"_s, run(program)));
        ASSERT_FALSE(result);
        EXPECT_TRUE(result.error().description.startsWith(u"Not authorized to send Apple events to %1."_s.arg(name)));
    }
}

TEST_F(ReachTest, ATerminalHasToBeAllowed) {
    EXPECT_FALSE(mayReach(window(u"Console"_s)));
    decide(u"console"_s, true);
    EXPECT_TRUE(mayReach(window(u"Console"_s)));
    decide(u"console"_s, false);
    EXPECT_FALSE(mayReach(window(u"Console"_s)));
}

TEST_F(ReachTest, ATerminalIsOneWithoutAnEntryToo) {
    EXPECT_FALSE(mayReach(window(u"XTerm"_s, 0, u"xterm"_s)));
    EXPECT_FALSE(mayReach(window(u"Anything"_s, run(u"xterm"_s))));
    decide(u"xterm"_s, true);
    EXPECT_TRUE(mayReach(window(u"XTerm"_s, 0, u"xterm"_s)));
}

TEST_F(ReachTest, TheWindowsThatHoldTheOwnersAnswersAreNobodys) {
    for (const auto &own : {u"ombru-consent-prompt"_s, u"ombru-privacy"_s}) {
        const auto refused = m_reach.mayReach(window(own, 0, own));
        ASSERT_FALSE(refused);
        EXPECT_TRUE(refused.error().description.startsWith(u"Not authorized to send Apple events to ombru."_s));
        EXPECT_FALSE(mayReach(window(u"Notes"_s, run(own))));
    }
}

TEST_F(ReachTest, AQuestionForAPasswordIsTheOwnersToAnswer) {
    const auto told = [this](const DesktopWindow &asking) {
        const auto refused = m_reach.mayReach(asking);
        return refused ? QString() : refused.error().description.section(u". "_s, 0, 0);
    };
    const auto refusal = u"Not authorized to send Apple events to "_s;
    decide(u"gcr-prompter"_s, true);
    EXPECT_EQ(told(window(u"Gcr-prompter"_s)), refusal + u"gcr-prompter"_s) << "allowed or not";
    EXPECT_EQ(told(window(u"Anything"_s, 0, u"pinentry-gtk-2"_s)), refusal + u"pinentry"_s);
    EXPECT_EQ(told(window(u"Notes"_s, run(u"polkit-kde-authentication-agent-1"_s))), refusal + u"polkit"_s);
    EXPECT_EQ(told(window({}, run(u"i3lock"_s))), refusal + u"i3lock"_s);
    EXPECT_TRUE(mayReach(window(u"Notes about polkit"_s)));
}

TEST_F(ReachTest, ADecisionCountsAtOnce) {
    const auto mail = window(u"MailWindow"_s);
    for (const bool allowed : {false, true, false, true, false}) {
        decide(u"mail"_s, allowed);
        EXPECT_EQ(mayReach(mail), allowed);
    }
}
