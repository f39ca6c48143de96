// A panel that begins to embed icons and to show items at the same moment. Qt decides about all icons of a process with
// the first one, so this has a process of its own.
#include "tests/platform/linux/tray/TrayFixture.h"

#include <unistd.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class FirstIconTest : public TrayTest {
protected:
    // Without a turn of the event loop.
    void awaitEmbedder() const {
        const QByteArray name = "_NET_SYSTEM_TRAY_S0";
        const Reply<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(
            connection(), xcb_intern_atom(connection(), 0, std::uint16_t(name.size()), name.constData()), nullptr));
        const auto owner = [&] {
            const Reply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
                connection(), xcb_get_selection_owner(connection(), atom->atom), nullptr));
            return reply->owner;
        };
        while (owner() == XCB_NONE)
            usleep(1000);
    }
};

} // namespace

TEST_F(FirstIconTest, APanelThatDoesBothAtOnceLeavesBothWays) {
    const auto icon = shownIcon();
    ASSERT_TRUE(waitUntil([this] { return namesOnBus().contains(u"org.kde.StatusNotifierItem-"_s); }));
    settle();
    auto host = watcher();
    const auto panel = embedder();
    awaitEmbedder();
    item();
    ASSERT_TRUE(waitUntil([this] { return embeddedAt().isEmpty(); }));
    EXPECT_TRUE(icon->isShown());
    host->end(SIGKILL);
    EXPECT_TRUE(isEmbedded());
}

int main(int argc, char **argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
