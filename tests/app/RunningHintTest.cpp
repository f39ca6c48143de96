#include "app/lifecycle/RunningHint.h"

#include "look/Colours.h"
#include "look/Style.h"
#include "tests/support/Wait.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

QList<QMessageBox *> open() {
    QList<QMessageBox *> boxes;
    for (auto *widget : QApplication::topLevelWidgets())
        if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible())
            boxes += box;
    return boxes;
}

} // namespace

TEST(RunningHint, SaysWhereTheApplicationIs) {
    const auto hint = runningHintText(true);
    EXPECT_EQ(hint.title, u"ombru is running in your menu bar");
    EXPECT_EQ(hint.text,
              u"Click the phone icon at the top right of your screen to sign in, check permissions and see call "
              u"status. It starts automatically when you log in.\n\nTip: hold ⌘ and drag the phone icon next to the "
              u"clock — macOS remembers the spot, and it won't get hidden behind the camera notch.");
}

TEST(RunningHint, WithoutAPlaceForIconsAParagraphSaysWhatElseOpensThePanel) {
    const auto text = runningHintText(false).text;
    EXPECT_TRUE(text.startsWith(runningHintText(true).text + u"\n\n"_s));
    EXPECT_TRUE(text.contains(u"ombru panel"_s));
}

TEST(RunningHint, IsModalWithOneButtonAndOpenOnce) {
    RunningHint hint{[] {}};
    hint.show(true);
    hint.show(true);
    ASSERT_EQ(open().size(), 1);
    EXPECT_TRUE(open().front()->isModal());
    ASSERT_EQ(open().front()->buttons().size(), 1);
    EXPECT_EQ(open().front()->buttons().front()->text(), u"OK");
    open().front()->buttons().front()->click();
    settle();
    EXPECT_FALSE(hint.isOpen());
    hint.show(true);
    EXPECT_EQ(open().size(), 1);
}

TEST(RunningHint, IsDressedAsTheOtherWindowsAndShowsTheIconThatItSpeaksOf) {
    RunningHint hint{[] {}};
    hint.show(true);
    EXPECT_EQ(open().front()->styleSheet(), windowStyle(wantedColours(ColourScheme::unknown, QApplication::palette())));
    EXPECT_FALSE(open().front()->iconPixmap().isNull());
    for (const auto *label : open().front()->findChildren<QLabel *>())
        EXPECT_TRUE(label->pixmap().isNull() || label->accessibleName() == u"ombru");
    EXPECT_TRUE(open().front()->buttons().front()->icon().isNull());
    hint.close();
    settle();
}

TEST(RunningHint, TellsThatItIsClosedByWhomever) {
    int closed = 0;
    RunningHint hint{[&] { ++closed; }};
    hint.show(true);
    open().front()->buttons().front()->click();
    settle();
    EXPECT_EQ(closed, 1);
    hint.show(true);
    hint.close();
    hint.show(true);
    settle();
    EXPECT_EQ(closed, 1) << "it is open again";
    hint.close();
    settle();
    EXPECT_EQ(closed, 2);
}

TEST(RunningHint, FollowsThePlaceOfTheIconWhileItIsOpen) {
    RunningHint hint{[] {}};
    hint.show(true);
    hint.setHasPlace(false);
    EXPECT_EQ(open().front()->informativeText(), runningHintText(false).text);
    hint.setHasPlace(true);
    EXPECT_EQ(open().front()->informativeText(), runningHintText(true).text);
}

TEST(RunningHint, WantedAgainInTheMomentItIsClosedItStays) {
    RunningHint hint{[] {}};
    hint.show(true);
    hint.close();
    hint.show(true);
    settle();
    ASSERT_EQ(open().size(), 1);
    EXPECT_TRUE(hint.isOpen());
}
