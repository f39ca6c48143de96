// The application that stays: what it starts, and how it ends.
#include "tests/app/ResidentJourney.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class Resident : public ResidentJourney {
protected:
    // One of the web page that never ends; the number of its claude.
    qint64 beginTask() {
        signInBefore();
        hang();
        m_application = startApplication();
        return claudeOfATask();
    }
};

const ChannelFrame GOING_AWAY{8, QByteArrayLiteral("\x03\xe9")};

} // namespace

TEST_F(Resident, WhoSignedInBeforeIsConnectedAndTakesTasksOfThePage) {
    signInBefore();
    reply({u"DONE: 42"_s});
    m_application = startApplication();
    ASSERT_TRUE(connected());
    EXPECT_EQ(m_service.newest().request.header("Authorization"), "Bearer tok");
    m_service.newest().sendText(R"({"type": "task", "text": "six times seven"})");
    EXPECT_TRUE(tells("✓ 42"));
    kill(SIGINT);
    EXPECT_EQ(end(m_application).status, 0);
}

TEST_F(Resident, ARequestToEndSaysGoodbyeAndEndsWhatItStarted) {
    const auto claude = beginTask();
    kill(SIGTERM);
    EXPECT_EQ(end(m_application).status, 0);
    EXPECT_TRUE(waitUntil([&] { return m_service.newest().frames.back() == GOING_AWAY; }));
    EXPECT_TRUE(waitUntil([&] { return !isAlive(claude); }));
    EXPECT_TRUE(waitUntil([this] { return marked().isEmpty(); })) << markedPrograms().join(u' ').toStdString();
}

TEST_F(Resident, OneThatIsKilledTakesItsTaskAlongAndTheNextOneTakesTasksAgain) {
    const auto claude = beginTask();
    kill(SIGKILL);
    EXPECT_EQ(end(m_application).status, SIGKILL);
    EXPECT_TRUE(waitUntil([&] { return !isAlive(claude); }));
    EXPECT_TRUE(waitUntil([this] { return marked().isEmpty(); })) << markedPrograms().join(u' ').toStdString();
    reply({u"of the first"_s, u"DONE: 42"_s});
    m_application = startApplication();
    ASSERT_TRUE(waitUntil([this] { return m_service.channels.size() == 2 && m_service.frameCount() >= 2; }));
    m_service.newest().sendText(R"({"type": "task", "text": "six times seven"})");
    EXPECT_TRUE(tells("✓ 42"));
    kill(SIGTERM);
    EXPECT_EQ(end(m_application).status, 0);
}

TEST_F(Resident, WithoutASignInItStaysAndAsksNobody) {
    m_application = startApplication();
    EXPECT_TRUE(waitUntil([this] { return m_claude.calls() > 0; })) << "it looks at what is allowed";
    kill(SIGTERM);
    const auto ended = end(m_application);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, u"ombru is running. Ctrl-C ends it.\n"_s);
    EXPECT_TRUE(m_service.requests.empty());
}

TEST_F(Resident, AnApplicationThatIgnoresTheTerminalsEndStays) {
    auto nohup = Process::make({.program = u"/usr/bin/nohup"_s,
                                .arguments = {bin(u"ombru"_s), u"--headless"_s},
                                .directory = m_scratch.directory(),
                                .environment = m_environment});
    m_application = nohup;
    signInBefore();
    ASSERT_TRUE(nohup->start());
    ASSERT_TRUE(connected());
    kill(SIGHUP);
    m_service.newest().sendText(R"({"type": "cancel"})");
    m_service.newest().send({9, "still there?"});
    const auto &frames = m_service.newest().frames;
    EXPECT_TRUE(waitUntil([&] { return std::ranges::find(frames, ChannelFrame{10, "still there?"}) != frames.end(); }));
    EXPECT_TRUE(nohup->isRunning());
    kill(SIGTERM);
    EXPECT_EQ(end(nohup).status, 0);
}
