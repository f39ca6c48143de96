#include "app/lifecycle/SessionEnd.h"

#include "tests/support/Wait.h"

#include <QApplication>
#include <QTimer>

using namespace ombru;

TEST(SessionEnd, ARequestToQuitIsToldAndEndsNothingByItself) {
    int asked = 0;
    const SessionEnd end([&asked] { ++asked; });
    QTimer::singleShot(0, qApp, [&asked] {
        QCoreApplication::quit();
        QTimer::singleShot(0, qApp, [&asked] { QCoreApplication::exit(asked == 1 ? 7 : 8); });
    });
    EXPECT_EQ(QApplication::exec(), 7);
    EXPECT_EQ(asked, 1);
}
