#include "controller/CallRoute.h"

#include "tests/support/Wait.h"

using namespace ombru;
using namespace Qt::StringLiterals;

TEST(CallRoute, AStopWordCountsWhateverItsCaseAndPunctuation) {
    for (const auto &text : {u"stop"_s, u"Stop!"_s, u"CANCEL"_s, u"stop it."_s, u"Never mind."_s, u"nevermind"_s,
                             u" Abort! "_s, u"quit"_s, u"3 stop 4"_s}) {
        EXPECT_EQ(routeOf(text, true), CallRoute::stop) << text.toStdString();
        EXPECT_EQ(routeOf(text, false), CallRoute::idle) << text.toStdString();
    }
}

TEST(CallRoute, AnythingElseIsARequest) {
    for (const auto &text :
         {u"stop the music"_s, u"don't stop"_s, u"stopp"_s, u"stop  it"_s, u"never-mind it"_s, u""_s, u"ställ in"_s}) {
        EXPECT_EQ(routeOf(text, false), CallRoute::start) << text.toStdString();
        EXPECT_EQ(routeOf(text, true), CallRoute::refuse) << text.toStdString();
    }
}
