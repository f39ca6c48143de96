#include "base/Subscribers.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

using namespace ombru;

namespace {

class SubscribersTest : public testing::Test {
protected:
    Subscription listen(char name) {
        return numbers.add([this, name](int number) { heard += name + std::to_string(number) + ' '; });
    }

    Subscribers<int> numbers;
    std::string heard;
};

} // namespace

TEST_F(SubscribersTest, AllAreToldInTheOrderTheyCame) {
    const auto one = listen('a');
    const auto two = listen('b');
    numbers.tell(1);
    numbers.tell(2);
    EXPECT_EQ(heard, "a1 b1 a2 b2 ");
}

TEST_F(SubscribersTest, WhoDroppedTheHandleIsNotTold) {
    std::optional<Subscription> one = listen('a');
    const auto two = listen('b');
    one.reset();
    numbers.tell(1);
    EXPECT_EQ(heard, "b1 ");
}

TEST_F(SubscribersTest, AHandleThatTakesAnothersPlaceEndsItsOwn) {
    auto one = listen('a');
    one = listen('b');
    numbers.tell(1);
    EXPECT_EQ(heard, "b1 ");
}

TEST_F(SubscribersTest, WhatAReceiverHoldsGoesWithItsHandle) {
    const auto held = std::make_shared<int>(0);
    {
        const auto one = numbers.add([held](int) {});
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(SubscribersTest, AReceiverMayRemoveItselfWhileItIsCalled) {
    std::optional<Subscription> own;
    const auto token = std::make_shared<int>(7);
    int used = 0;
    own = numbers.add([&own, &used, token](int) {
        own.reset();
        used += *token; // what runs is still there
    });
    const auto after = listen('b');
    numbers.tell(1);
    numbers.tell(2);
    EXPECT_EQ(used, 7);
    EXPECT_EQ(token.use_count(), 1);
    EXPECT_EQ(heard, "b1 b2 ");
}

TEST_F(SubscribersTest, AReceiverThatRemovedItselfHearsNothingMoreOfANestedCall) {
    std::optional<Subscription> own;
    int calls = 0;
    own = numbers.add([&](int number) {
        ++calls;
        own.reset();
        if (number < 3)
            numbers.tell(number + 1);
    });
    numbers.tell(1);
    EXPECT_EQ(calls, 1);
}

TEST_F(SubscribersTest, AReceiverMayRemoveAnother) {
    std::optional<Subscription> later;
    const auto one = numbers.add([&](int) { later.reset(); });
    later = listen('b');
    const auto last = listen('c');
    numbers.tell(1);
    EXPECT_EQ(heard, "c1 ");
}

TEST_F(SubscribersTest, OneThatIsAddedMeanwhileHearsOfTheNext) {
    std::vector<Subscription> added;
    const auto one = numbers.add([&](int) {
        for (int i = 0; i < 100 && added.size() < 100; ++i)
            added.push_back(listen('b'));
    });
    const auto last = listen('c');
    numbers.tell(1);
    EXPECT_EQ(heard, "c1 ");
    added.erase(added.begin() + 1, added.end());
    heard.clear();
    numbers.tell(2);
    EXPECT_EQ(heard, "c2 b2 ");
}

TEST_F(SubscribersTest, AReceiverMayDropThemAll) {
    auto shortLived = std::make_unique<Subscribers<int>>();
    const auto one = shortLived->add([&](int) { shortLived.reset(); });
    shortLived->tell(1);
    EXPECT_FALSE(shortLived);
}

TEST_F(SubscribersTest, AHandleMayOutliveThem) {
    std::optional<Subscription> kept;
    {
        Subscribers<int> gone;
        kept = gone.add([](int) {});
    }
    kept.reset();
}
