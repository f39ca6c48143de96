#include "controller/Prompts.h"
#include "tests/controller/LoopFixture.h"

#include <semaphore>
#include <thread>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::settle;

class AppStateTest : public test::LoopFixture {
protected:
    std::vector<QJsonObject> sent;
    void openWeb() {
        state->setWebChannel([this](const AgentMessage &told) {
            const auto message = toJson(told);
            sent.push_back(message);
        });
    }
};

TEST_F(AppStateTest, AFreshControllerIsIdle) {
    EXPECT_FALSE(state->busy);
    EXPECT_EQ(state->status(), u"idle"_s);
    EXPECT_EQ(state->step(), 0);
    EXPECT_EQ(state->lastEvent(), QString());
    EXPECT_FALSE(state->caller());
    EXPECT_FALSE(state->taskActivity());
    EXPECT_FALSE(state->lastResult());
}

TEST_F(AppStateTest, ACachedPromptWinsOverTheBuiltInOne) {
    EXPECT_EQ(state->systemPrompt(), FALLBACK_PROMPT);
    ASSERT_TRUE(state->settings.cachedPrompt.write(u"cached"_s));
    EXPECT_EQ(state->systemPrompt(), u"cached"_s);
}

TEST_F(AppStateTest, TheServicesPromptWinsOverBoth) {
    ASSERT_TRUE(state->settings.cachedPrompt.write(u"cached"_s));
    CloudConfig config;
    config.systemPrompt = u"service"_s;
    state->applyConfig(config);
    EXPECT_EQ(state->config(), config);
    EXPECT_EQ(state->systemPrompt(), u"service"_s);
    state->applyConfig({});
    EXPECT_EQ(state->systemPrompt(), u"cached"_s);
}

TEST_F(AppStateTest, AnEmptyTextChangesNothingAndSendsNothing) {
    openWeb();
    state->emit(u"before"_s, EventKind::good);
    const auto sentBefore = sent.size();
    const auto loggedBefore = FakePlatform::instance().logged.size();
    state->emit({}, EventKind::bad);
    EXPECT_EQ(state->lastEvent(), u"before"_s);
    EXPECT_EQ(sent.size(), sentBefore);
    EXPECT_EQ(FakePlatform::instance().logged.size(), loggedBefore);
    EXPECT_EQ(events.size(), 1);
}

TEST_F(AppStateTest, EveryEventGoesToTheSystemLogAtItsLevel) {
    state->emit(u"a\nb"_s, EventKind::bad);
    state->emit(u"c"_s, EventKind::code);
    state->emit(u"d"_s, EventKind::rule);
    const auto &logged = FakePlatform::instance().logged;
    ASSERT_EQ(logged.size(), 3u);
    EXPECT_EQ(logged[0].text, u"a\nb"_s);
    EXPECT_EQ(logged[0].subsystem, u"com.ombru.mac"_s);
    EXPECT_EQ(logged[0].category, u"relay"_s);
    EXPECT_EQ(logged[0].level, LogLevel::error);
    EXPECT_EQ(logged[1].level, LogLevel::debug);
    EXPECT_EQ(logged[2].level, LogLevel::notice);
}

TEST_F(AppStateTest, AVeryLongTextReachesTheLogWithoutHoldingTheMainThread) {
    constexpr int THREADS = 4; // of the background
    std::counting_semaphore<THREADS> begun(0);
    std::counting_semaphore<THREADS> go(0);
    for (int thread = 0; thread < THREADS; ++thread)
        runInBackground([&] {
            begun.release();
            go.acquire();
        });
    for (int thread = 0; thread < THREADS; ++thread)
        begun.acquire();
    const auto &logged = FakePlatform::instance().logged;
    const auto before = logged.size();
    const QString text(1 << 20, u'x');
    state->emit(text, EventKind::bad);
    EXPECT_EQ(logged.size(), before);
    go.release(THREADS);
    ASSERT_TRUE(test::waitUntil([] { return backgroundIsIdle(); }));
    ASSERT_EQ(logged.size(), before + 1);
    EXPECT_EQ(logged.back().text, text);
    EXPECT_EQ(logged.back().level, LogLevel::error);
}

TEST_F(AppStateTest, TheLastEventIsTheFirstLineOfTheKindsThatCount) {
    state->emit(u"one\ntwo"_s, EventKind::warn);
    EXPECT_EQ(state->lastEvent(), u"one"_s);
    for (const auto kind : {EventKind::heard, EventKind::said, EventKind::rule, EventKind::dim, EventKind::claude,
                            EventKind::code, EventKind::result})
        state->emit(u"other"_s, kind);
    EXPECT_EQ(state->lastEvent(), u"one"_s);
}

TEST_F(AppStateTest, EventsAreMirroredOnlyWhileAWebChannelExists) {
    state->emit(u"unseen"_s, EventKind::good);
    openWeb();
    state->emit(u"rule"_s, EventKind::rule);
    state->emit(u"dim"_s, EventKind::dim);
    state->emit(u"seen\nwhole"_s, EventKind::heard);
    state->setWebChannel({});
    state->emit(u"unseen"_s, EventKind::good);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0][u"type"_s].toString(), u"event"_s);
    EXPECT_EQ(sent[0][u"kind"_s].toString(), u"heard"_s);
    EXPECT_EQ(sent[0][u"text"_s].toString(), u"seen\nwhole"_s);
    EXPECT_GT(sent[0][u"ts"_s].toDouble(), 1.7e9);
}

TEST_F(AppStateTest, AChannelThatExistsGetsEventsAndOneThatIsOpenTheStateToo) {
    openWeb();
    EXPECT_FALSE(state->agentConnected);
    state->sendState();
    EXPECT_TRUE(sent.empty());
    state->emit(u"an event"_s, EventKind::good);
    EXPECT_EQ(sent.size(), 1u);
    state->setWebChannelOpen(true);
    EXPECT_TRUE(state->agentConnected);
    state->sendState();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1][u"type"_s].toString(), u"state"_s);
    state->setWebChannelOpen(false);
    state->sendState();
    EXPECT_EQ(sent.size(), 2u);
    state->emit(u"an event"_s, EventKind::good);
    EXPECT_EQ(sent.size(), 3u);
}

TEST_F(AppStateTest, WithoutAChannelNoneIsOpen) {
    state->setWebChannelOpen(true);
    EXPECT_FALSE(state->agentConnected);
    openWeb();
    state->setWebChannelOpen(true);
    state->setWebChannel({});
    EXPECT_FALSE(state->agentConnected);
    openWeb();
    EXPECT_FALSE(state->agentConnected) << "a new one has yet to open";
}

TEST_F(AppStateTest, AChannelThatClosesItselfInsideASendIsThereUntilTheSendEnds) {
    auto token = std::make_shared<int>();
    const std::weak_ptr<int> kept = token;
    QList<bool> goneWhileRunning;
    state->setWebChannel([token = std::move(token), &kept, &goneWhileRunning, state = state.get()](const auto &) {
        const auto &held = kept; // what was captured may be gone once the channel is
        auto &gone = goneWhileRunning;
        state->setWebChannel({});
        gone.append(held.expired());
    });
    state->emit(u"one"_s, EventKind::good);
    state->emit(u"two"_s, EventKind::good);
    EXPECT_EQ(goneWhileRunning, QList<bool>{false});
    EXPECT_TRUE(kept.expired()) << "nothing keeps a channel that is closed";
}

TEST_F(AppStateTest, ReceiversComeAndGoWhileTheyAreCalled) {
    QStringList heardLate;
    Subscription own;
    Subscription late;
    own = state->onEvent([&](const Event &) {
        own.end();
        late = state->onEvent([&](const Event &event) { heardLate.append(event.text); });
    });
    state->emit(u"one"_s, EventKind::good);
    state->emit(u"two"_s, EventKind::good);
    late.end();
    state->emit(u"three"_s, EventKind::good);
    EXPECT_EQ(heardLate, QStringList{u"two"_s});
}

TEST_F(AppStateTest, AnObserverThatIsGoneHearsOfNothing) {
    int changes = 0;
    std::optional<Subscription> watched = state->onWillChange([&] { ++changes; });
    state->emit(u"one"_s, EventKind::good);
    watched.reset();
    state->emit(u"two"_s, EventKind::good);
    EXPECT_EQ(changes, 1);
}

TEST_F(AppStateTest, EventsFromOtherThreadsArriveOnTheMainOne) {
    const auto here = std::this_thread::get_id();
    std::optional<std::thread::id> there;
    const auto listening = state->onEvent([&](const Event &) { there = std::this_thread::get_id(); });
    std::jthread([this] { state->emitFromAnywhere(u"hello"_s, EventKind::said); }).join();
    EXPECT_TRUE(events.isEmpty());
    settle();
    EXPECT_EQ(events, QStringList{u"said: hello"_s});
    EXPECT_EQ(there, here);
}

TEST_F(AppStateTest, AnActivityWithoutLingerStaysUntilTheNext) {
    ManualClock clock;
    state->setActivity(u"working"_s);
    clock.advance(24h);
    settle();
    EXPECT_EQ(state->taskActivity(), u"working"_s);
    state->setActivity({});
    EXPECT_FALSE(state->taskActivity());
}

TEST_F(AppStateTest, ASecondActivityBeforeTheLingerElapsesCancelsTheFirstTimer) {
    ManualClock clock;
    state->setActivity(u"first"_s, 4);
    clock.advance(3s);
    settle();
    state->setActivity(u"second"_s, 4);
    clock.advance(3s);
    settle();
    EXPECT_EQ(state->taskActivity(), u"second"_s);
    clock.advance(1s);
    settle();
    EXPECT_FALSE(state->taskActivity());
}

TEST_F(AppStateTest, AnActivityThatStaysIsNotClearedByTheTimerOfTheOneBefore) {
    ManualClock clock;
    state->setActivity(u"first"_s, 4);
    state->setActivity(u"second"_s);
    clock.advance(24h);
    settle();
    EXPECT_EQ(state->taskActivity(), u"second"_s);
}

TEST_F(AppStateTest, ObserversHearOfAChangeBeforeItTakesEffectAndNotOfNone) {
    QStringList before;
    const auto watched = state->onWillChange([&] { before.append(state->lastEvent()); });
    state->emit(u"one"_s, EventKind::good);
    state->emit(u"one"_s, EventKind::good);
    state->emit(u"two"_s, EventKind::good);
    EXPECT_EQ(before, (QStringList{u""_s, u"one"_s}));
}

TEST_F(AppStateTest, TheWorkDirectoryIsMadeAndPrivate) {
    const auto path = AppState::workDir();
    EXPECT_EQ(path, home.filePath(u".local/share/ombru"_s));
    EXPECT_TRUE(QDir(path).exists());
    EXPECT_FALSE(QFile::permissions(path) & (QFile::ReadGroup | QFile::ReadOther));
}

TEST_F(AppStateTest, ABadSettingIsLoggedOnceAndItsDefaultCounts) {
    ASSERT_TRUE(state->settings.maxSteps.write(3));
    QFile file(state->settings.file());
    ASSERT_TRUE(file.open(QFile::WriteOnly | QFile::Truncate));
    file.write("[General]\nmaxSteps=lots of them\n");
    file.close();
    EXPECT_EQ(state->settings.maxSteps(), 15);
    EXPECT_EQ(state->settings.maxSteps(), 15);
    settle();
    ASSERT_EQ(events.size(), 1);
    EXPECT_TRUE(events[0].startsWith(u"warn: ✗ maxSteps cannot be \"lots of them\""_s)) << events[0].toStdString();
}

TEST_F(AppStateTest, WhatTheSettingsFileHadAtTheStartIsToldWhoeverListensThen) {
    QFile file(state->settings.file());
    ASSERT_TRUE(file.open(QFile::WriteOnly | QFile::Append));
    file.write("no setting\n");
    file.close();
    QStringList told;
    AppState started;
    const auto listening = started.onEvent([&](const Event &event) { told.append(event.text); });
    settle();
    ASSERT_EQ(told.size(), 1);
    EXPECT_TRUE(told[0].endsWith(u"counts as nothing: no setting"_s)) << told[0].toStdString();
    test::await(started.drain());
}

TEST_F(AppStateTest, AWorkingToolPassesItsTest) {
    claude.file(u"reply.1"_s, resultJson(u"ombru test ok"_s));
    claude.play(1, "cat \"$d/reply.$n\"");
    state->testClaude();
    EXPECT_TRUE(state->claudeTesting);
    EXPECT_EQ(state->claudeTest(), QString());
    ASSERT_TRUE(test::waitUntil([this] { return !state->claudeTesting; }));
    EXPECT_TRUE(state->claudeTest->startsWith(u"✓ claude -p works ("_s)) << state->claudeTest->toStdString();
    EXPECT_TRUE(state->claudeTestPassed);
    EXPECT_EQ(events, QStringList{u"good: "_s + state->claudeTest()});
}

TEST_F(AppStateTest, ABrokenToolFailsItsTestWithItsOutput) {
    claude.play(1, "echo broken");
    state->testClaude();
    ASSERT_TRUE(test::waitUntil([this] { return !state->claudeTesting; }));
    EXPECT_TRUE(state->claudeTest->startsWith(u"✗ claude -p failed: broken"_s)) << state->claudeTest->toStdString();
    EXPECT_FALSE(state->claudeTestPassed);
    EXPECT_EQ(events, QStringList({u"bad: "_s + state->claudeTest(), u"warn: "_s + state->claudeTestCause()}));
    EXPECT_TRUE(state->claudeTestCause->contains(u"printed “broken” instead of a reply"_s));
}
