// The program itself: how it starts, ends, is killed, and what its other commands do beside it.
#include "base/Spawn.h"
#include "tests/service/ServiceFixture.h"

#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class ProgramTest : public ServiceFixture {
protected:
    void SetUp() override { startProgram(); }
    void TearDown() override {
        if (program > 0)
            EXPECT_EQ(endProgram(SIGTERM), 0);
    }

    void startProgram(const QStringList &before = {}) { // a program, that is, which becomes it
        QFile::remove(said());
        auto words = before + QStringList{path()} + arguments({u"--port"_s, QString::number(port)});
        const auto first = words.takeFirst();
        const Descriptor out(
            ::open(QFile::encodeName(said()).constData(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600));
        const auto started =
            spawn({.program = first, .arguments = words, .output = out.number(), .errors = out.number()});
        ASSERT_TRUE(started);
        program = *started;
        ASSERT_TRUE(waitUntil([this] { return this->words().contains("event=started"); }))
            << this->words().toStdString();
        port = static_cast<std::uint16_t>(match(u"ombru-service is at http://localhost:(\\d+)"_s).toUInt());
    }
    int endProgram(int signal) {
        ::kill(program, signal);
        int status = -1;
        ::waitpid(std::exchange(program, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    static QString path() { return qEnvironmentVariable("OMBRU_BIN") + u"/ombru-service"_s; }
    QString said() const { return directory.filePath(u"said"_s); }
    QByteArray words() const {
        QFile file(said());
        return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
    }
    QString match(const QString &pattern) const {
        return QRegularExpression(pattern).match(QString::fromUtf8(words())).captured(1);
    }
    QStringList arguments(const QStringList &more) const {
        return QStringList{u"--settings-file"_s, directory.filePath(u"settings.conf"_s), u"--data"_s, data()} + more;
    }
    QString data() const { return directory.filePath(u"data"_s); }
    Browser visit() { return visitFirst(u"owner@example.org"_s, match(u"enter the code ([A-Z-]+)"_s)); }

    struct Ended {
        int status;
        QString output;
    };
    // Another command, to its end.
    Ended run(const QStringList &command, const QByteArray &input = {}) {
        auto in = makePipe();
        auto out = makePipe();
        const auto started = spawn({.program = path(),
                                    .arguments = arguments(command),
                                    .input = in->reading.number(),
                                    .output = out->writing.number(),
                                    .errors = out->writing.number()});
        EXPECT_TRUE(started);
        EXPECT_EQ(::write(in->writing.number(), input.constData(), static_cast<std::size_t>(input.size())),
                  input.size());
        in->writing.close();
        out->writing.close();
        QFile output;
        EXPECT_TRUE(output.open(out->reading.number(), QFile::ReadOnly));
        const auto all = QString::fromUtf8(output.readAll());
        int status = -1;
        ::waitpid(*started, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, all};
    }

    pid_t program = 0;
};

TEST_F(ProgramTest, ItSaysWhereItIsAndTheCodeOfTheFirstVisitOnce) {
    EXPECT_TRUE(words().contains("First visit: open that page and enter the code "));
    visit();
    EXPECT_EQ(endProgram(SIGTERM), 0);
    startProgram();
    EXPECT_FALSE(words().contains("First visit"));
}

TEST_F(ProgramTest, ASignalThatItWasStartedToIgnoreIsNotHeard) {
    EXPECT_EQ(endProgram(SIGTERM), 0);
    startProgram({u"/usr/bin/env"_s, u"--ignore-signal=INT"_s});
    ::kill(program, SIGINT);
    visit();
    int status = 0;
    EXPECT_EQ(::waitpid(program, &status, WNOHANG), 0) << "it goes on";
}

TEST_F(ProgramTest, WhatAPageWasShownIsThereAfterAKill) {
    const auto browser = visit();
    const auto token = pair(browser);
    const auto computer = firstComputer(browser);
    auto workshop = agent(token);
    ASSERT_TRUE(workshop->opens());
    auto page = this->page(browser);
    page->send(watch(computer, 0));
    workshop->send(state(true));
    workshop->send(event(u"user"_s, u"web ❯ count"_s));
    std::map<int, QString> shown;
    int sent = 0;
    ASSERT_TRUE(waitUntil([&] {
        for (int burst = 0; burst < 50; ++burst)
            workshop->send(event(u"result"_s, QString::number(++sent)));
        for (; !page->messages.empty(); page->messages.pop_front()) {
            const auto items = page->messages.front()[u"items"_s].toArray();
            for (const auto &item : items)
                shown[item[u"number"_s].toInt()] = item[u"text"_s].toString();
        }
        return shown.size() > 1000;
    }));
    EXPECT_EQ(endProgram(SIGKILL), -SIGKILL);
    startProgram();

    page = this->page(browser);
    page->send(watch(computer, 0));
    std::map<int, QString> kept;
    const auto caughtUp = [&] {
        for (; !page->messages.empty(); page->messages.pop_front()) {
            const auto items = page->messages.front()[u"items"_s].toArray();
            for (const auto &item : items) {
                const auto number = item[u"number"_s].toInt();
                EXPECT_FALSE(kept.contains(number)) << "a double";
                kept[number] = item[u"text"_s].toString();
            }
            if (page->messages.front()[u"type"_s] == u"caughtUp"_s)
                return true;
        }
        return false;
    };
    ASSERT_TRUE(waitUntil(caughtUp));
    EXPECT_EQ(kept.rbegin()->first, static_cast<int>(kept.size())) << "a gap";
    for (const auto &[number, text] : shown)
        ASSERT_EQ(kept[number], text);
    EXPECT_EQ(config(token).status, 200);
}

TEST_F(ProgramTest, KilledAgainAndAgainItLosesAndDoublesNothingThatWasShown) {
    constexpr int ROUNDS = 8;
    const auto browser = visit();
    const auto token = pair(browser);
    const auto computer = firstComputer(browser);
    const auto jpeg = QByteArray("\xFF\xD8\xFF\xE0", 4) + "picture";
    std::map<int, QJsonObject> shown;
    int sent = 0;
    for (int round = 0; round < ROUNDS; ++round) {
        const auto workshop = agent(token);
        const auto page = this->page(browser);
        ASSERT_TRUE(workshop->opens());
        page->send(watch(computer, shown.empty() ? 0 : shown.rbegin()->first));
        workshop->send(state(true));
        workshop->send(event(u"user"_s, u"web ❯ task %1"_s.arg(round)));
        bool began = false; // what was kept and not shown before comes first
        std::size_t told = 0;
        const auto before = shown.size();
        const auto enough = before + 200 + static_cast<std::size_t>(QRandomGenerator::global()->bounded(400));
        ASSERT_TRUE(waitUntil([&] {
            if (told < shown.size() - before + 1000) { // the page is not far behind
                for (int burst = 0; burst < 20; ++burst, ++told)
                    workshop->send(event(u"result"_s, QString::number(++sent)));
                workshop->send(toJson(ScreenshotMessage{round, 1000, jpeg}));
            }
            for (; !page->messages.empty(); page->messages.pop_front()) {
                const auto items = page->messages.front()[u"items"_s].toArray();
                for (const auto &item : items) {
                    const auto number = item[u"number"_s].toInt();
                    EXPECT_EQ(number, shown.empty() ? 1 : shown.rbegin()->first + 1) << "a gap or a double";
                    shown[number] = item.toObject();
                    began = began || item[u"text"_s] == u"web ❯ task %1"_s.arg(round);
                }
            }
            return began && shown.size() >= enough;
        }));
        EXPECT_EQ(endProgram(SIGKILL), -SIGKILL);
        startProgram();
    }
    const auto page = this->page(browser);
    page->send(watch(computer, 0));
    int last = 0;
    for (const auto &[number, item] : shown) {
        while (last < number) {
            const auto items = page->next(u"items"_s)[u"items"_s].toArray();
            ASSERT_FALSE(items.isEmpty());
            for (const auto &its : items) {
                ASSERT_EQ(its[u"number"_s].toInt(), ++last);
                if (shown.contains(last))
                    ASSERT_EQ(its.toObject(), shown[last]);
            }
        }
    }
    std::set<QString> pictures;
    for (const auto &[number, item] : shown)
        if (item[u"kind"_s] == u"picture"_s)
            EXPECT_TRUE(pictures.insert(item[u"picture"_s].toString()).second) << "two of one number";
    EXPECT_EQ(get(u"/api/pictures/"_s + *pictures.begin(), browser).body, jpeg);
    EXPECT_EQ(get(u"/api/pictures/"_s + *pictures.rbegin(), browser).body, jpeg);
    const auto tasks = get(u"/api/computers/%1/tasks"_s.arg(computer), browser).json()[u"tasks"_s].toArray();
    ASSERT_EQ(tasks.size(), ROUNDS);
    for (int round = 0; round < ROUNDS; ++round)
        EXPECT_EQ(tasks[ROUNDS - 1 - round][u"text"_s].toString(), u"task %1"_s.arg(round));
}

TEST_F(ProgramTest, ItsLogHasNoSecrets) {
    const auto browser = visit();
    const auto pairing = startPairing();
    post(u"/api/verify"_s, {{u"code"_s, pairing.userCode}, {u"allow"_s, true}}, browser);
    const auto token = poll(pairing)[u"token"_s].toString().toUtf8();
    const auto line = agent(token);
    ASSERT_TRUE(line->opens());
    line->send(event(u"heard"_s, u"what was said"_s));
    signIn(u"owner@example.org"_s, u"a wrong password"_s);
    get(u"/api/verify?code="_s + pairing.userCode, browser);
    EXPECT_EQ(endProgram(SIGTERM), 0);
    const auto log = words();
    EXPECT_TRUE(log.contains("event=computer-signed-in computer=1 address=127.0.0.1")) << log.toStdString();
    for (const auto &secret : {token, PASSWORD.toUtf8(), QByteArray("a wrong password"), browser.csrf,
                               browser.cookie.sliced(browser.cookie.indexOf('=') + 1), pairing.userCode.toUtf8(),
                               pairing.deviceCode.toUtf8(), QByteArray("what was said")})
        EXPECT_FALSE(log.contains(secret)) << secret.toStdString();
}

TEST_F(ProgramTest, AnotherOneOnTheSameDataDoesNotStart) {
    const auto second = run({u"--port"_s, u"0"_s});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.output, u"ombru-service: The directory %1 cannot be used: a service works on it.\n"_s.arg(data()));
}

TEST_F(ProgramTest, UsersAreAddedAndPasswordsResetBesideIt) {
    const auto owner = visit();
    EXPECT_EQ(run({u"add-user"_s, u"other@example.org"_s}, "another password\n").output,
              u"other@example.org can sign in now.\n"_s);
    EXPECT_EQ(signIn(u"other@example.org"_s, u"another password"_s).status, 200);
    EXPECT_EQ(run({u"add-user"_s, u"other@example.org"_s}, "another password\n").status, 1);
    EXPECT_EQ(run({u"add-user"_s, u"third@example.org"_s}, "short\n").output,
              u"ombru-service: A password has 12 characters at least.\n"_s);
    EXPECT_EQ(run({u"reset-password"_s, u"owner@example.org"_s}, "a newer password\n").status, 0);
    EXPECT_EQ(get(u"/api/computers"_s, owner).code(), u"signedOut"_s);
    EXPECT_EQ(signIn(u"owner@example.org"_s, u"a newer password"_s).status, 200);
    EXPECT_EQ(run({u"reset-password"_s, u"nobody@example.org"_s}, "a newer password\n").output,
              u"ombru-service: There is no account nobody@example.org.\n"_s);
}

TEST_F(ProgramTest, ACopyIsMadeWhileItRunsAndPutBackOnceItHasEnded) {
    const auto browser = visit();
    const auto token = pair(browser);
    const auto copy = directory.filePath(u"copy"_s);
    EXPECT_EQ(run({u"backup"_s, copy}).status, 0);
    EXPECT_EQ(run({u"restore"_s, copy}).status, 1) << "it runs";
    send("DELETE", u"/api/computers/"_s + firstComputer(browser), {}, browser);
    EXPECT_EQ(config(token).status, 401);
    EXPECT_EQ(endProgram(SIGTERM), 0);
    EXPECT_EQ(run({u"restore"_s, copy}).status, 0);
    startProgram();
    EXPECT_EQ(config(token).status, 200);
}

TEST_F(ProgramTest, SettingsAreShownAndChecked) {
    EXPECT_TRUE(run({u"settings"_s}).output.contains(u"historyDays = 90\n"_s));
    EXPECT_EQ(run({u"settings"_s, u"historyDays"_s, u"7"_s}).output, u"historyDays = 7\n"_s);
    EXPECT_EQ(run({u"settings"_s, u"proxy"_s, u"nonsense"_s}).status, 1);
    EXPECT_EQ(run({u"settings"_s, u"publicURL"_s, u"https://ombru.example/path"_s}).status, 1);
    EXPECT_EQ(run({u"--nonsense"_s}).status, 2);
}

} // namespace
