// The program that makes the requests: when it is there, and what is told when it fails.

#include "base/Process.h"
#include "net/HttpClient.h"
#include "tests/support/AccountService.h"
#include "tests/support/Processes.h"

#include <QDeadlineTimer>
#include <QFileInfo>

#include <mutex>
#include <thread>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::AccountReply;
using test::AccountRequest;
using test::AccountService;
using test::childrenOf;
using test::contents;
using test::isAlive;
using test::waitUntil;
using Manner = AccountReply::Manner;

namespace {

const QByteArray SECRET = "Authorization: Bearer s3cr3t-t0k3n";

QString programOf(qint64 process) {
    return QFileInfo(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(process))).fileName();
}

class HttpProgramTest : public testing::Test {
protected:
    ~HttpProgramTest() override { setHttpProgram({}); }

    void begin(HttpRequest request, std::stop_token stop = {}) {
        exchangeLater(std::move(request), std::move(stop), [told = told](Result<HttpReply> reply) {
            const std::lock_guard lock(told->mutex);
            told->replies.push_back(std::move(reply));
        });
    }
    void begin(std::stop_token stop = {}) { begin({.url = service.base(), .body = {}}, std::move(stop)); }
    std::size_t count() const {
        const std::lock_guard lock(told->mutex);
        return told->replies.size();
    }
    Result<HttpReply> reply() {
        if (!waitUntil([this] { return count() == 1; }))
            return std::unexpected(Failure{u"test"_s, 0, u"nothing is told"_s});
        const std::lock_guard lock(told->mutex);
        return std::exchange(told->replies, {}).at(0);
    }
    QString complaint() {
        const auto got = reply();
        return got ? u"a reply"_s : got.error().description;
    }
    void isSilent() {
        service.answer = [](const AccountRequest &) { return AccountReply{.manner = Manner::silence}; };
    }
    void answers() {
        service.answer = [](const AccountRequest &) { return AccountReply(); };
    }
    // The one that has made its first request, which is not answered.
    qint64 running() {
        EXPECT_TRUE(waitUntil([this] { return service.requests.size() == 1; }));
        const auto children = childrenOf(QCoreApplication::applicationPid());
        return children.size() == 1 ? children[0] : test::NO_PROCESS;
    }
    static bool noneIsLeft() {
        return waitUntil([] { return childrenOf(QCoreApplication::applicationPid()).isEmpty(); });
    }

    struct Told {
        std::mutex mutex;
        std::vector<Result<HttpReply>> replies;
    };
    AccountService service;
    test::Scratch scratch;
    std::shared_ptr<Told> told = std::make_shared<Told>();
};

} // namespace

TEST_F(HttpProgramTest, IsThereOnlyWhileSomebodyWaits) {
    isSilent();
    std::stop_source stop;
    begin(stop.get_token());
    EXPECT_EQ(programOf(running()), u"ombru-http"_s);
    stop.request_stop();
    EXPECT_FALSE(reply());
    EXPECT_TRUE(noneIsLeft());
    answers();
    begin();
    EXPECT_TRUE(reply());
    EXPECT_TRUE(noneIsLeft());
}

TEST_F(HttpProgramTest, StaysForTheNextRequestWithItsConnectionsForAsLongAsIsWanted) {
    begin({.url = service.base(), .body = {}, .kept = 1h});
    EXPECT_TRUE(reply());
    const auto first = childrenOf(QCoreApplication::applicationPid());
    begin({.url = service.base(), .body = {}, .kept = 1h});
    EXPECT_TRUE(reply());
    EXPECT_EQ(childrenOf(QCoreApplication::applicationPid()), first);
    ASSERT_EQ(first.size(), 1);
    ::kill(pid_t(first[0]), SIGKILL);
    EXPECT_TRUE(noneIsLeft());
    begin({.url = service.base(), .body = {}, .kept = 50ms});
    EXPECT_TRUE(reply()) << "another one";
    EXPECT_TRUE(noneIsLeft());
}

TEST_F(HttpProgramTest, OneThatEndedWhileItWasKeptIsNotAskedAnyMore) {
    // On the thread that sees to all of this, so that it notices the end only with the next request.
    exchangeLater({.url = service.base(), .body = {}, .kept = 1h}, {}, [this](const auto &) {
        const auto kept = childrenOf(QCoreApplication::applicationPid());
        ASSERT_EQ(kept.size(), 1);
        ::kill(pid_t(kept[0]), SIGKILL);
        for (const QDeadlineTimer patience(30s); isAlive(kept[0]) && !patience.hasExpired();)
            std::this_thread::yield();
        begin();
    });
    EXPECT_TRUE(reply());
}

TEST_F(HttpProgramTest, NobodySeesASecretAmongItsArgumentsOrInItsEnvironment) {
    isSilent();
    std::stop_source stop;
    begin({.url = service.base(), .headers = {SECRET}, .body = {}}, stop.get_token());
    const auto process = running();
    EXPECT_EQ(service.requests[0].header("Authorization"), "Bearer s3cr3t-t0k3n");
    const auto words = contents(u"/proc/%1/cmdline"_s.arg(process)).split('\0');
    EXPECT_EQ(words.size(), 2) << "its name and nothing behind it";
    EXPECT_TRUE(words[0].endsWith("/ombru-http"));
    const auto environment = contents(u"/proc/%1/environ"_s.arg(process));
    EXPECT_TRUE(environment.contains("PATH="));
    EXPECT_FALSE(environment.contains("s3cr3t"));
    stop.request_stop();
    EXPECT_FALSE(reply());
}

TEST_F(HttpProgramTest, HasNoOpenFileOfTheApplications) {
    isSilent();
    QFile open(scratch.write(u"open"_s, "file"));
    ASSERT_TRUE(open.open(QFile::ReadOnly));
    const int kept = ::dup(open.handle()); // as a library may open one, for whatever is started to inherit
    std::stop_source stop;
    begin(stop.get_token());
    const QDir files(u"/proc/%1/fd"_s.arg(running()));
    for (const auto &file : files.entryList(QDir::Files | QDir::System))
        EXPECT_NE(QFile::symLinkTarget(files.filePath(file)), open.fileName());
    EXPECT_FALSE(files.entryList(QDir::Files | QDir::System).isEmpty());
    ::close(kept);
    stop.request_stop();
    EXPECT_FALSE(reply());
}

TEST_F(HttpProgramTest, OneThatIsMissingIsAFailureThatSaysWhatToDo) {
    setHttpProgram(scratch.path(u"ombru-http"_s));
    begin();
    const auto got = reply();
    ASSERT_FALSE(got);
    EXPECT_EQ(got.error().domain, u"http"_s);
    EXPECT_EQ(got.error().description, u"The program that makes requests cannot be started; install ombru again: "_s +
                                           scratch.path(u"ombru-http"_s) + u": No such file or directory"_s);
    setHttpProgram({});
    begin();
    EXPECT_TRUE(reply());
}

TEST_F(HttpProgramTest, OneThatIsKilledIsAFailureAndTheNextRequestStartsAnother) {
    isSilent();
    begin();
    ::kill(pid_t(running()), SIGKILL);
    EXPECT_EQ(complaint(),
              u"The program that makes requests, ombru-http, has ended by signal 9. The next request starts "
              u"it anew."_s);
    answers();
    begin();
    EXPECT_TRUE(reply());
}

TEST_F(HttpProgramTest, OneThatEndsByItselfIsAFailureToAllThatWait) {
    setHttpProgram(scratch.script(u"ombru-http"_s, "head -c 1 >/dev/null; exit 7"));
    begin({.url = service.base(), .body = {}});
    EXPECT_EQ(complaint(), u"The program that makes requests, ombru-http, has ended with status 7. The next request "
                           u"starts it anew."_s);
    EXPECT_TRUE(noneIsLeft());
}

TEST_F(HttpProgramTest, OneThatTalksNonsenseIsAFailureAndEnded) {
    const auto unreadable =
        u"The program that makes requests, ombru-http, is not the one of this ombru. Install ombru again."_s;
    setHttpProgram(scratch.script(u"garbage"_s, "while :; do echo 'HTTP/1.1 200 OK, and so on, for ever'; done"));
    begin();
    EXPECT_EQ(complaint(), unreadable);
    setHttpProgram(u"/bin/cat"_s); // whose packets are packets, but no answers
    begin();
    EXPECT_EQ(complaint(), unreadable);
    EXPECT_TRUE(noneIsLeft());
}

TEST_F(HttpProgramTest, OneThatDoesNotAnswerIsGivenUpSoonAfterTheLimit) {
    setHttpProgram(scratch.script(u"silence"_s, "exec cat >/dev/null"));
    begin({.url = service.base(), .body = {}, .limit = 1ms});
    EXPECT_EQ(complaint(), u"The program that makes requests, ombru-http, does not answer. The next request starts it "
                           u"anew."_s);
    EXPECT_TRUE(noneIsLeft());
}

TEST_F(HttpProgramTest, AStopWaitsForNoneThatHangs) {
    isSilent();
    std::stop_source stop;
    begin(stop.get_token());
    const auto process = running();
    ::kill(pid_t(process), SIGSTOP);
    ASSERT_TRUE(waitUntil([&] { return test::isStopped(process); }));
    stop.request_stop();
    EXPECT_EQ(complaint(), u"The request was given up."_s);
    EXPECT_TRUE(noneIsLeft());
}

TEST_F(HttpProgramTest, OneGivenUpLeavesTheOthers) {
    service.answer = [](const AccountRequest &) { return AccountReply{.manner = Manner::later}; };
    std::stop_source stop;
    begin({.url = service.base() + u"/first"_s, .body = {}}, stop.get_token());
    begin({.url = service.base() + u"/second"_s, .body = {}});
    ASSERT_TRUE(waitUntil([this] { return service.requests.size() == 2; }));
    const std::size_t first = service.requests[0].line().contains("/first") ? 0 : 1;
    stop.request_stop();
    EXPECT_EQ(complaint(), u"The request was given up."_s);
    EXPECT_TRUE(waitUntil([&] { return !service.isWaitedFor(first); })) << "the service is told";
    service.answerNow(1 - first, {.body = "second"});
    const auto got = reply();
    ASSERT_TRUE(got);
    EXPECT_EQ(got->body, "second");
}

TEST_F(HttpProgramTest, EndsWithAnApplicationThatIsKilled) {
    isSilent();
    const auto application =
        Process::make({.program = qEnvironmentVariable("OMBRU_BIN") + u"/../tests/asks-and-waits"_s,
                       .arguments = {service.base(), QString::fromUtf8(SECRET)}});
    ASSERT_TRUE(application->start());
    ASSERT_TRUE(waitUntil([this] { return service.requests.size() == 1; }));
    const auto own = childrenOf(QCoreApplication::applicationPid());
    ASSERT_EQ(own.size(), 1);
    const auto started = childrenOf(own[0]);
    ASSERT_EQ(started.size(), 1);
    EXPECT_EQ(programOf(started[0]), u"ombru-http"_s);
    ::kill(pid_t(own[0]), SIGKILL);
    test::await(application->ended());
    EXPECT_TRUE(waitUntil([&] { return !isAlive(started[0]); }));
    EXPECT_TRUE(waitUntil([this] { return !service.isWaitedFor(0); }));
}

TEST_F(HttpProgramTest, SaysWhatItIsToWhoeverStartsItByHand) {
    const auto program = Process::make({.program = qEnvironmentVariable("OMBRU_BIN") + u"/ombru-http"_s});
    ASSERT_TRUE(program->start());
    test::await(program->ended());
    EXPECT_EQ(program->status(), 1);
    EXPECT_EQ(program->takeErrors(), "ombru-http: makes requests for ombru, which starts it by itself.\n");
}
