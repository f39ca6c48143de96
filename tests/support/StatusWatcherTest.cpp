#include "tests/support/StatusHost.h"

using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class StatusWatcherTest : public testing::Test, protected StatusHost {};

} // namespace

TEST_F(StatusWatcherTest, WhoHasEndedBeforeItIsAddedIsNoItem) {
    const auto host = watcher();
    const auto reply =
        call(WATCHER, u"/StatusNotifierWatcher"_s, WATCHER, u"RegisterStatusNotifierItem"_s, {u":9.9"_s});
    EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    EXPECT_EQ(watcherItems(), QStringList());
}
