// The application that stays, as its owner starts it, with a home and a runtime directory of its own, and a service
// that the test plays. For tests in a private desktop.
#pragma once
#include "tests/app/Journey.h"
#include "tests/support/AccountService.h"
#include "tests/support/StandIn.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace ombru::test {

class ResidentJourney : public Journey {
protected:
    ResidentJourney() {
        using namespace Qt::StringLiterals;
        QDir().mkpath(runtime());
        QFile::setPermissions(runtime(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_environment["XDG_RUNTIME_DIR"] = runtime().toUtf8();
        m_environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent"; // no store for secrets
        m_environment.erase("XDG_CONFIG_HOME");
        m_service.answer = [this](const AccountRequest &request) { return answer(request); };
        QDir(m_scratch.directory()).mkpath(u".config/ombru"_s);
        m_scratch.write(u".config/ombru/ombru.conf"_s, "serverURL=" + m_service.base().toUtf8() + "\n");
    }
    ~ResidentJourney() override {
        if (m_application && m_application->isRunning()) {
            kill(SIGKILL);
            await(m_application->ended());
        }
    }

    QString runtime() const { return m_scratch.path(QStringLiteral("run")); }
    QString socket() const { return runtime() + QStringLiteral("/ombru/application"); }
    QString token() const { return m_scratch.path(QStringLiteral(".local/share/ombru/secrets/device-token")); }

    AccountReply answer(const AccountRequest &request) const {
        const auto path = request.line().split(' ').value(1);
        if (path == "/api/device/start")
            return {.body = R"({"device_code": "dev", "user_code": "AB-CD", "verify_url": "https://host/verify",
                                "interval": 0.05})"};
        return {.body = path == "/api/device/poll" ? m_poll : QByteArray(R"({"email": "ann@host"})")};
    }

    // A computer that signed in before.
    void signInBefore() {
        QDir().mkpath(QFileInfo(token()).path());
        m_scratch.write(QStringLiteral(".local/share/ombru/secrets/device-token"), "tok");
    }

    // Claude's replies to questions, one after the other; looks at the tool itself are no questions.
    void reply(const QStringList &texts) {
        for (int number = 1; number <= texts.size(); ++number) {
            const QJsonObject json{{QStringLiteral("result"), texts[number - 1]},
                                   {QStringLiteral("session_id"), QStringLiteral("session-1")}};
            m_claude.file(QStringLiteral("reply.%1").arg(number), QJsonDocument(json).toJson(QJsonDocument::Compact));
        }
        playQuestions("cat \"$d/reply.$n\"");
    }
    // It works for ever, and ignores what asks it to end. Its number is in the file "claude.pid".
    void hang() { playQuestions("trap '' TERM; echo $$ >\"$HOME/claude.pid\"; while :; do sleep 1000; done"); }
    void playQuestions(const QByteArray &shell) {
        m_claude.playAlways("case $1 in --help|auth) exit 1;; esac\n"
                            "n=$(($(cat \"$d/asked\" 2>/dev/null || echo 0) + 1)); echo $n >\"$d/asked\"\n"
                            "echo \"$*\" >\"$d/question.$n\"\n" +
                            shell + "\n");
    }
    // Of a task that the web page hands over, once the application is connected.
    qint64 claudeOfATask() {
        EXPECT_TRUE(connected());
        m_service.newest().sendText(R"({"type": "task", "text": "wait"})");
        return claudePid();
    }
    qint64 claudePid() const { return pidIn(m_scratch.path(QStringLiteral("claude.pid"))); }

    std::shared_ptr<Process> startApplication() {
        return startProgram(QStringLiteral("ombru"), {QStringLiteral("--headless")});
    }
    bool connected() {
        return waitUntil([this] { return m_service.frameCount() >= 2; });
    }
    QByteArrayList texts() {
        QByteArrayList texts;
        for (const auto &frame : m_service.newest().frames)
            texts += frame.payload;
        return texts;
    }
    // That the web page is told so.
    bool tells(const QByteArray &text) {
        const bool isTold = waitUntil([&] { return texts().join().contains(text); });
        EXPECT_TRUE(isTold) << texts().join('\n').toStdString();
        return isTold;
    }
    void kill(int signal) const {
        for (const qint64 pid : marked())
            if (contents(QStringLiteral("/proc/%1/cmdline").arg(pid)).endsWith(QByteArray("\0--headless\0", 12)))
                ::kill(static_cast<pid_t>(pid), signal);
    }

    AccountService m_service;
    QByteArray m_poll = "{}";
    StandIn m_claude{(QFile::remove(claude()), claude()), m_scratch.path(QStringLiteral("claude"))};
    std::shared_ptr<Process> m_application;
};

} // namespace ombru::test
