// What the privacy settings know and do, with a scripted computer.
#include "app/privacy/PrivacyModel.h"

#include "base/Background.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/Processes.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using State = Permission::State;

namespace {

const QString EDITOR = u"org.example.Editor"_s;
const QString CLIENT = u"com.ombru.mac"_s;

class PrivacyModelTest : public testing::Test {
protected:
    PrivacyModelTest() {
        FakePlatform::reset();
        FakePlatform::instance().osascript = scratch.script(u"osascript"_s, "exit 0");
        computer()->consentDatabase = scratch.path(u"consent.db"_s);
        computer()->applications[u"com.apple.systemevents"_s] = {.name = u"System Events"_s};
        computer()->applications[EDITOR] = {.name = u"Writer's Desk"_s};
    }
    ~PrivacyModelTest() override {
        await(model.drain());
        EXPECT_TRUE(finishBackground(std::chrono::minutes(1)));
    }

    static Guarded<FakeDesktop> &computer() { return FakePlatform::instance().desktop; }
    const PrivacyModel::View &view() const { return model.view(); }
    // What the record holds now; the file changes as a real one would.
    void record(const std::vector<ConsentDecision> &decisions) {
        computer()->decisions = decisions;
        scratch.write(u"consent.db"_s, QByteArray(++writes, 'x'));
    }
    bool shows(std::size_t count) {
        return waitUntil([&] { return view().looked && view().decisions && view().decisions->size() == count; });
    }

    Scratch scratch;
    int writes = 0;
    int changes = 0;
    PrivacyModel model{[this] { ++changes; }};
};

} // namespace

TEST_F(PrivacyModelTest, KnowsNothingBeforeItLooked) {
    EXPECT_FALSE(view().looked);
    EXPECT_TRUE(view().permissions.isEmpty());
}

TEST_F(PrivacyModelTest, ReadsPermissionsAndDecisions) {
    computer()->screenAllowed = false;
    record({{CLIENT, EDITOR, true, {}}});
    model.refresh();
    ASSERT_TRUE(shows(1));
    EXPECT_EQ(view().decisions->front().target, u"Writer's Desk"_s);
    EXPECT_EQ(view().decisions->front().program, u"ombru"_s);
    ASSERT_TRUE(waitUntil([&] { return !view().permissions.isEmpty(); }));
    EXPECT_EQ(view().permissions[u"screen"_s], State::missing);
    EXPECT_EQ(view().permissions[u"accessibility"_s], State::granted);
    EXPECT_EQ(view().permissions[u"automation"_s], State::granted);
}

TEST_F(PrivacyModelTest, NoticesWhatOthersDecide) {
    model.refresh();
    ASSERT_TRUE(shows(0));
    model.watch();
    record({{CLIENT, EDITOR, true, {}}});
    EXPECT_TRUE(shows(1));
}

TEST_F(PrivacyModelTest, SaysNothingWhenNothingChanged) {
    record({{CLIENT, EDITOR, true, {}}});
    model.refresh();
    ASSERT_TRUE(shows(1));
    ASSERT_TRUE(waitUntil([&] { return !view().permissions.isEmpty(); }));
    const int before = changes;
    model.refresh();
    settle();
    await(background([] {}));
    ASSERT_TRUE(finishBackground(std::chrono::minutes(1)));
    settle();
    EXPECT_EQ(changes, before);
}

TEST_F(PrivacyModelTest, ARecordThatCannotBeReadSaysWhy) {
    computer()->consentFailure = Failure{u"consent"_s, 1, u"It is broken."_s};
    model.refresh();
    ASSERT_TRUE(waitUntil([&] { return view().looked; }));
    ASSERT_FALSE(view().decisions);
    EXPECT_EQ(view().decisions.error().description, u"It is broken."_s);
}

TEST_F(PrivacyModelTest, DecidesAndForgets) {
    model.refuse(CLIENT, EDITOR);
    ASSERT_TRUE(shows(1));
    EXPECT_FALSE(view().decisions->front().allowed);
    EXPECT_EQ(computer()->offers, 0);
    model.allow(CLIENT, EDITOR);
    ASSERT_TRUE(waitUntil([&] { return view().decisions->front().allowed; }));
    EXPECT_EQ(computer()->offers, 1) << "the owner is asked at the prompt";
    model.forget(CLIENT, EDITOR);
    EXPECT_TRUE(shows(0));
    EXPECT_TRUE(view().failure.isEmpty());
}

TEST_F(PrivacyModelTest, AChangeThatFailsSaysWhyUntilTheNextOneWorks) {
    computer()->consentFailure = Failure{u"consent"_s, 1, u"It is broken."_s};
    model.refuse(CLIENT, EDITOR);
    ASSERT_TRUE(waitUntil([&] { return view().failure == u"It is broken."_s; }));
    computer()->consentFailure = std::nullopt;
    model.refuse(CLIENT, EDITOR);
    EXPECT_TRUE(waitUntil([&] { return view().failure.isEmpty(); }));
}

TEST_F(PrivacyModelTest, WhatTheOwnerWillNotAllowStaysRefused) {
    computer()->offerAnswer = false;
    model.allow(CLIENT, EDITOR);
    ASSERT_TRUE(shows(1));
    EXPECT_FALSE(view().decisions->front().allowed);
    EXPECT_TRUE(view().failure.isEmpty());
}

TEST_F(PrivacyModelTest, NobodyToAskAllowsNothingAndSaysSo) {
    computer()->offerAnswer = std::nullopt;
    model.allow(CLIENT, EDITOR);
    ASSERT_TRUE(waitUntil([&] { return view().failure == u"nobody there"_s; }));
    EXPECT_TRUE(computer()->decisions.empty());
}

TEST_F(PrivacyModelTest, AsksTheOwnerOneQuestionAtATime) {
    model.allow(CLIENT, EDITOR);
    model.allow(CLIENT, EDITOR);
    ASSERT_TRUE(shows(1));
    ASSERT_TRUE(finishBackground(std::chrono::minutes(1)));
    EXPECT_EQ(computer()->offers, 1);
}

TEST_F(PrivacyModelTest, AsksForAPermissionOnceAtATime) {
    model.ask(u"screen"_s);
    model.ask(u"screen"_s);
    EXPECT_EQ(view().asking, QStringList{u"screen"_s});
    ASSERT_TRUE(waitUntil([&] { return view().asking.isEmpty(); }));
    EXPECT_EQ(computer()->screenRequests, 1);
    EXPECT_TRUE(waitUntil([&] { return !view().permissions.isEmpty(); }));
}

TEST_F(PrivacyModelTest, AsksForNothingThatItDoesNotKnow) {
    model.ask(u"nonsense"_s);
    EXPECT_TRUE(view().asking.isEmpty());
}
