// The panel and the windows for an owner whose letters are twice as large: nothing is cut, hidden or off the screen.
#include "tests/support/LargeLetters.h"

#include "app/lifecycle/RunningHint.h"
#include "app/panel/MenuPanel.h"
#include "app/privacy/PrivacyWindow.h"
#include "base/Background.h"
#include "look/Letters.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/PanelScenes.h"
#include "tests/support/Processes.h"
#include "tests/support/Wait.h"

#include <QApplication>
#include <QHeaderView>
#include <QMessageBox>
#include <QScrollArea>
#include <QScrollBar>
#include <QStackedWidget>
#include <QTableWidget>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class LargeLetters : public testing::Test {
protected:
    LargeLetters() { QApplication::setFont(twiceAsLarge(m_before)); }
    ~LargeLetters() override {
        QApplication::setFont(m_before);
        settle();
    }

    // Once it has the size that it wants.
    static void expectFits(const QWidget &window, const QWidget &within, const QString &what) {
        settle();
        const auto found = misfits(window, within);
        EXPECT_TRUE(found.isEmpty()) << what.toStdString() << ": " << found.join(u"; "_s).toStdString();
    }

    const QFont m_before = QApplication::font();
};

class LargePanel : public LargeLetters {
protected:
    // The lines may scroll, from top to bottom only; what is below them may not.
    void expectFits(const QString &what) {
        auto *lines = panel.findChild<QScrollArea *>();
        EXPECT_FALSE(lines->horizontalScrollBar()->maximum() > 0) << what.toStdString() << " scrolls sideways";
        LargeLetters::expectFits(panel, *lines->widget(), what);
        LargeLetters::expectFits(panel, *panel.findChild<QWidget *>(u"footer"_s), what);
        EXPECT_LE(lines->widget()->width(), lines->viewport()->width()) << what.toStdString();
    }

    MenuPanel panel{{[](const PanelAction &) {}, [](bool) {}}};
};

} // namespace

TEST_F(LargePanel, EachRowIsWhole) {
    for (const auto &[name, state] : panelScenes()) {
        panel.show(panelContent(state));
        panel.open({});
        expectFits(name);
        panel.hide();
    }
}

TEST_F(LargePanel, OnALittleScreenButtonsStandBelowTheTexts) {
    auto huge = twiceAsLarge(QApplication::font());
    QApplication::setFont(huge);
    ASSERT_LT(panel.screen()->availableGeometry().width(), withLetters(320)) << "else this screen is not little";
    for (const auto &[name, state] : panelScenes()) {
        panel.show(panelContent(state));
        panel.open({});
        expectFits(name);
        panel.hide();
    }
}

TEST_F(LargePanel, ItGrowsWithTheLettersWhileItIsOpen) {
    QApplication::setFont(m_before);
    panel.show(panelContent(panelScenes()[2].state));
    panel.open({});
    settle();
    const auto before = panel.size();
    QApplication::setFont(twiceAsLarge(m_before));
    settle();
    EXPECT_EQ(panel.width(), 2 * before.width());
    EXPECT_GT(panel.height(), before.height() * 5 / 4);
    expectFits(u"grown"_s);
    QApplication::setFont(m_before);
    settle();
    EXPECT_EQ(panel.size(), before);
}

TEST_F(LargeLetters, TheHintIsWhole) {
    RunningHint hint{[] {}};
    hint.show(false);
    for (const auto *window : QApplication::topLevelWidgets())
        if (qobject_cast<const QMessageBox *>(window) && window->isVisible())
            expectFits(*window, *window, u"the hint"_s);
    hint.close();
    settle();
}

TEST_F(LargeLetters, EachPageOfThePrivacySettingsIsWhole) {
    FakePlatform::reset();
    const Scratch scratch;
    FakePlatform::instance().osascript = scratch.script(u"osascript"_s, "exit 0");
    FakePlatform::instance().desktop->consentDatabase = scratch.write(u"consent.db"_s, "x");
    FakePlatform::instance().desktop->decisions = {{u"com.ombru.mac"_s, u"com.apple.systemevents"_s, true, {}},
                                                   {u"/usr/bin/osascript"_s, u"org.example.Editor"_s, false, {}}};
    PrivacyWindow window([] {});
    window.model().refresh();
    EXPECT_TRUE(
        waitUntil([&] { return window.model().view().looked && !window.model().view().permissions.isEmpty(); }));
    for (const auto *page : {"ScreenCapture", "Accessibility", "Automation"}) {
        window.showAt(u"Privacy_"_s + QString::fromLatin1(page));
        const auto *shown = qobject_cast<QScrollArea *>(window.findChild<QStackedWidget *>()->currentWidget());
        ASSERT_TRUE(shown);
        settle();
        EXPECT_LE(shown->widget()->width(), shown->viewport()->width()) << page;
        expectFits(window, *shown->widget(), QString::fromLatin1(page));
    }
    const auto *columns = window.findChild<QTableWidget *>(u"decisions"_s)->horizontalHeader();
    auto bold = columns->font(); // as the head of a chosen row's columns is
    bold.setBold(true);
    constexpr int AROUND = 16;
    for (int column = 0; column < columns->count(); ++column) {
        const auto head = columns->model()->headerData(column, Qt::Horizontal).toString();
        EXPECT_GE(columns->sectionSize(column), QFontMetrics(bold).horizontalAdvance(head) + AROUND)
            << head.toStdString();
    }
    await(window.model().drain());
    EXPECT_TRUE(finishBackground(std::chrono::minutes(1)));
}
