// The window that asks for consent, opened in the private desktop, and ways to answer it.
#pragma once
#include "tests/support/Consent.h"
#include "tests/support/DesktopModule.h"
#include "tests/support/PromptOnScreen.h"

#include <QFileInfo>
#include <QProcess>

namespace ombru::test {

using namespace applescript;
using namespace Qt::StringLiterals;

inline const QString OMBRU = u"com.ombru.mac"_s;
inline const QString EDITOR = u"org.example.Editor"_s;
inline const QString TITLE = u"ombru: allow control of"_s;
constexpr int KEY_A = 0;
constexpr int SPACE = 49;
constexpr int RETURN = 36;
constexpr int ESCAPE = 53;
constexpr int OPTION = 58;
constexpr std::uint8_t SHIFT_CODE = 50; // as the display counts them

inline bool ended(const QProcess &process) {
    return process.state() == QProcess::NotRunning;
}

class ConsentPromptTest : public testing::Test {
protected:
    ConsentPromptTest() {
        QDir().mkpath(scratch.path(u"applications"_s));
        scratch.write(u"applications/%1.desktop"_s.arg(EDITOR),
                      "[Desktop Entry]\nType=Application\nName=Writer's Desk\nExec=/bin/true %F\n");
    }
    ~ConsentPromptTest() override {
        for (const auto &process : processes) {
            process->kill();
            process->waitForFinished();
        }
    }

    QProcess &start(const QString &program, const QStringList &arguments) {
        auto &process = *processes.emplace_back(std::make_unique<QProcess>());
        process.start(qEnvironmentVariable("OMBRU_BIN") + u'/' + program, arguments);
        EXPECT_TRUE(process.waitForStarted());
        return process;
    }
    QProcess &ask(const QString &application = EDITOR, const QString &client = OMBRU) {
        return start(u"ombru-consent-prompt"_s, {u"--client"_s, client, u"--application"_s, application});
    }
    QProcess &show() {
        auto &process = ask();
        EXPECT_TRUE(waitUntil([&] { return isOpen() && windowTitled(*desktop, TITLE)->focused; }));
        return process;
    }
    QProcess &script(const QString &text) {
        test::allow(data(), {u"com.apple.systemevents"_s});
        return start(u"osascript"_s, {u"-e"_s, text});
    }
    bool isOpen() const { return windowTitled(*desktop, TITLE).has_value(); }

    // As often as it takes: the window does not listen in its first moment.
    template <class Act>
    int answer(QProcess &process, Act act) {
        for (int tries = 0; tries < 60 && !ended(process); ++tries) {
            act();
            process.waitForFinished(500);
        }
        EXPECT_TRUE(ended(process));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        return process.exitCode();
    }
    int press(QProcess &process, int keyCode, Modifiers modifiers = 0) {
        return answer(process, [&] { EXPECT_TRUE(desktop->input().pressKey(keyCode, modifiers)); });
    }
    int allow(QProcess &process) {
        return answer(process, [&] { clickAllow(*desktop); });
    }
    void expectFailure(QProcess &process) {
        ASSERT_TRUE(waitUntil([&] { return ended(process); }));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 2);
        EXPECT_FALSE(process.readAllStandardError().isEmpty());
    }

    std::optional<bool> decision(const QString &application = EDITOR, const QString &client = OMBRU) const {
        const auto all = consentDecisions();
        EXPECT_TRUE(all) << all.error().description.toStdString();
        const auto found = std::ranges::find_if(*all, [&](const auto &decision) {
            return decision.client == client && decision.application == application;
        });
        return found == all->end() ? std::nullopt : std::optional(found->allowed);
    }
    QString data() const { return scratch.directory(); }

    Scratch scratch;
    test::Variable home{"XDG_DATA_HOME", scratch.directory().toUtf8()};
    std::unique_ptr<Desktop> desktop = openDesktop();
    std::vector<std::unique_ptr<QProcess>> processes;
};

} // namespace ombru::test
