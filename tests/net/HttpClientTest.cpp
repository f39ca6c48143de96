#include "net/HttpClient.h"

#include "base/SerialQueue.h"
#include "tests/support/AccountService.h"
#include "tests/support/Wait.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::AccountReply;
using test::AccountRequest;
using test::AccountService;
using test::waitUntil;
using Manner = AccountReply::Manner;

namespace {

class HttpClientTest : public testing::Test {
protected:
    HttpClientTest() { Loop::main(); }

    void begin(HttpRequest request, std::stop_token stop = {}) {
        exchangeLater(std::move(request), std::move(stop), [told = told](Result<HttpReply> reply) {
            const std::lock_guard lock(told->mutex);
            told->replies.push_back(std::move(reply));
        });
    }
    void begin(std::stop_token stop = {}) { begin({.url = service.base() + u"/a//b"_s, .body = {}}, std::move(stop)); }
    std::size_t count() const {
        const std::lock_guard lock(told->mutex);
        return told->replies.size();
    }
    Result<HttpReply> reply() {
        EXPECT_TRUE(waitUntil([this] { return count() == 1; }));
        const std::lock_guard lock(told->mutex);
        const auto first = told->replies.at(0);
        told->replies.clear();
        return first;
    }
    void replies(const AccountReply &reply) {
        service.answer = [reply](const AccountRequest &) { return reply; };
    }

    struct Told {
        std::mutex mutex;
        std::vector<Result<HttpReply>> replies;
    };
    AccountService service;
    std::shared_ptr<Told> told = std::make_shared<Told>();
};

} // namespace

TEST_F(HttpClientTest, AReplyOfAnyStatusIsOne) {
    for (const int status : {200, 404, 500}) {
        replies({.status = status, .body = "body"});
        begin();
        const auto got = reply();
        ASSERT_TRUE(got);
        EXPECT_EQ(got->status, status);
        EXPECT_EQ(got->body, "body");
    }
    EXPECT_EQ(service.requests[0].line(), "GET /a//b HTTP/1.1");
}

TEST_F(HttpClientTest, HeadersAndBodyGoOutAsTheyAre) {
    begin({.url = service.base() + u"/"_s, .headers = {"X-One: 1", "X-Two: zwei"}, .body = "ä\0b"_ba});
    ASSERT_TRUE(reply());
    EXPECT_EQ(service.requests[0].line(), "POST / HTTP/1.1");
    EXPECT_EQ(service.requests[0].header("X-Two"), "zwei");
    EXPECT_EQ(service.requests[0].body, "ä\0b"_ba);
}

TEST_F(HttpClientTest, AFailureSaysWhatHappened) {
    begin({.url = u"http://127.0.0.1:1/"_s, .body = {}});
    const auto got = reply();
    ASSERT_FALSE(got);
    EXPECT_EQ(got.error().domain, u"http"_s);
    EXPECT_TRUE(got.error().description.startsWith(u"Failed to connect to 127.0.0.1 port 1"_s))
        << got.error().description.toStdString();
}

TEST_F(HttpClientTest, AReplyThatIsTooLargeIsAFailure) {
    replies({.body = QByteArray((16 << 20) + 1, 'x')});
    begin();
    EXPECT_EQ(reply().error().description, u"The reply is larger than anything the service has to say."_s);
}

TEST_F(HttpClientTest, EachRequestHasItsOwnLimit) {
    replies({.manner = Manner::later});
    begin();
    begin({.url = service.base(), .body = {}, .limit = 50ms});
    const auto late = reply();
    ASSERT_FALSE(late);
    EXPECT_TRUE(late.error().description.contains(u"timed out"_s)) << late.error().description.toStdString();
    const auto other = [this] {
        return std::ranges::find_if(service.requests, [](const auto &each) { return each.line().contains("/a//b"); });
    };
    ASSERT_TRUE(waitUntil([&] { return other() != service.requests.end(); }));
    service.answerNow(static_cast<std::size_t>(other() - service.requests.begin()), {});
    EXPECT_TRUE(reply());
}

TEST_F(HttpClientTest, AStopWakesTheOneItIsFor) {
    replies({.manner = Manner::later});
    std::stop_source stop;
    begin(stop.get_token());
    ASSERT_TRUE(waitUntil([this] { return service.requests.size() == 1; }));
    stop.request_stop();
    EXPECT_FALSE(reply());
    EXPECT_TRUE(waitUntil([this] { return !service.isWaitedFor(0); }));
}

TEST_F(HttpClientTest, ATokenDoesNotFollowToAnotherHost) {
    AccountService other;
    replies({.status = 307, .headers = "Location: http://localhost:" + QByteArray::number(other.port()) + "/x\r\n"});
    begin({.url = service.base(), .headers = {"Authorization: Token key"}, .body = "text"});
    ASSERT_TRUE(reply());
    ASSERT_EQ(other.requests.size(), 1U);
    EXPECT_EQ(service.requests[0].header("Authorization"), "Token key");
    EXPECT_EQ(other.requests[0].header("Authorization"), QByteArray());
    EXPECT_EQ(other.requests[0].body, "text");
}

TEST_F(HttpClientTest, MayBeAskedFromSeveralThreads) {
    std::vector<std::jthread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([this] {
            for (int request = 0; request < 5; ++request)
                begin();
        });
    EXPECT_TRUE(waitUntil([this] { return count() == 20; }));
}

// In a program of its own, whose application ends while a request is under way.
TEST_F(HttpClientTest, TheEndOfTheApplicationIsToldToWhatIsUnderWay) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto endWithARequest = [this] {
        replies({.manner = Manner::silence});
        std::atomic<int> failures = 0;
        const auto count = [&](const Result<HttpReply> &reply) { failures += reply ? 0 : 1; };
        exchangeLater({.url = service.base(), .body = {}}, {}, count);
        const bool came = waitUntil([this] { return service.requests.size() == 1; });
        QCoreApplication::instance()->~QCoreApplication();
        const int atEnd = failures;
        exchangeLater({.url = service.base(), .body = {}}, {}, count);
        std::_Exit(came && atEnd == 1 && failures == 2 ? 0 : 1);
    };
    EXPECT_EXIT(endWithARequest(), testing::ExitedWithCode(0), "");
}

TEST_F(HttpClientTest, WhoIsToldAtTheEndMayPostToAQueueThatCameLater) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto endWithARequest = [this] {
        replies({.manner = Manner::silence});
        const auto queue = std::make_shared<std::unique_ptr<SerialQueue>>();
        std::atomic<bool> posted = false;
        exchangeLater({.url = service.base(), .body = {}}, {},
                      [&posted, queue](const auto &) { (*queue)->post([&posted] { posted = true; }); });
        const bool came = waitUntil([this] { return service.requests.size() == 1; });
        *queue = std::make_unique<SerialQueue>("test");
        QCoreApplication::instance()->~QCoreApplication();
        std::_Exit(came && posted ? 0 : 1);
    };
    EXPECT_EXIT(endWithARequest(), testing::ExitedWithCode(0), "");
}
