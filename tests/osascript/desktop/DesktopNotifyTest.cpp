#include "tests/support/DesktopModule.h"
#include "tests/support/Variable.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

TEST(DesktopNotify, ShowsTitleSubtitleAndTextAsTheyAre) {
    const auto desktop = openDesktop();
    const auto shown = desktop->notifications().show(
        {.text = u"a < b & <b>c</b>"_s, .title = u"Title ü"_s, .subtitle = u"below"_s, .sound = {}});
    ASSERT_TRUE(shown) << words(shown);
    const Scratch scratch;
    const auto file = scratch.path(u"history"_s);
    ASSERT_EQ(std::system(qPrintable(u"dunstctl close-all && dunstctl history >'%1'"_s.arg(file))), 0);
    const QByteArray history = contents(file);
    EXPECT_TRUE(history.contains("Title ü")) << history.toStdString();
    EXPECT_TRUE(history.contains("below")) << history.toStdString();
    EXPECT_TRUE(history.contains("a &lt; b &amp; &lt;b&gt;c&lt;/b&gt;") || history.contains("a < b & <b>c</b>"))
        << history.toStdString();
}

TEST(DesktopNotify, WithoutABusIsAFailure) {
    const test::Variable none("DBUS_SESSION_BUS_ADDRESS");
    const test::Variable nowhere("XDG_RUNTIME_DIR", "/nonexistent");
    const auto shown =
        openDesktop()->notifications().show({.text = u"text"_s, .title = {}, .subtitle = {}, .sound = {}});
    ASSERT_FALSE(shown);
    EXPECT_TRUE(shown.error().description.contains(u"session bus"_s));
}
