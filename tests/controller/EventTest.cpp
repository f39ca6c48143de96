#include "controller/Event.h"

#include <QSet>

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const std::vector<EventKind> ALL{EventKind::user,   EventKind::call, EventKind::heard,  EventKind::said,
                                 EventKind::rule,   EventKind::dim,  EventKind::claude, EventKind::code,
                                 EventKind::result, EventKind::good, EventKind::bad,    EventKind::warn};

template <class Test>
QSet<QString> namesOf(Test test) {
    QSet<QString> names;
    for (const auto kind : ALL) {
        if (test(kind))
            names.insert(kindName(kind));
    }
    return names;
}

} // namespace

TEST(Event, FiveKindsBecomeTheLastEvent) {
    EXPECT_EQ(namesOf(updatesLastEvent), (QSet<QString>{u"call"_s, u"good"_s, u"bad"_s, u"warn"_s, u"user"_s}));
}

TEST(Event, TenKindsAreMirroredToTheWebPage) {
    EXPECT_EQ(namesOf(isForwarded), (QSet<QString>{u"user"_s, u"call"_s, u"heard"_s, u"said"_s, u"claude"_s, u"code"_s,
                                                   u"result"_s, u"good"_s, u"bad"_s, u"warn"_s}));
}

TEST(Event, TwoKindsAreErrorsAndTwoAreDebugLines) {
    EXPECT_EQ(namesOf([](EventKind kind) { return logLevel(kind) == LogLevel::error; }),
              (QSet<QString>{u"bad"_s, u"warn"_s}));
    EXPECT_EQ(namesOf([](EventKind kind) { return logLevel(kind) == LogLevel::debug; }),
              (QSet<QString>{u"code"_s, u"dim"_s}));
}
