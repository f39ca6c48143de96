#include "voice/Inbox.h"

#include "tests/voice/CallFixture.h"

#include <latch>

using namespace ombru;
using namespace Qt::StringLiterals;
using test::waitUntil;

namespace {

class InboxTest : public test::CallFixture {};

} // namespace

TEST_F(InboxTest, AProviderThatSaysMoreThanIsHeardIsEnded) {
    std::latch busy(1);
    options.onStart = [&busy](const QString &) { busy.wait(); };
    connect();
    phone->start();
    for (int piece = 0; piece < 5; ++piece)
        phone->send(QString(1 << 20, u'x'));
    EXPECT_TRUE(waitUntil([this] { return phoneClosed.has_value(); }));
    busy.count_down();
    EXPECT_TRUE(tells(u"end"_s));
}
