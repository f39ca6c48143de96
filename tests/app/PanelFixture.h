// The panel on a controller whose surroundings a test plays.
#pragma once
#include "app/panel/Panel.h"
#include "tests/controller/LinkFixture.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>

namespace ombru::test {

class PanelFixture : public LinkFixture {
protected:
    ~PanelFixture() override { await(panel.drain()); }

    static QWidget &window() {
        for (auto *widget : QApplication::topLevelWidgets())
            if (widget->objectName() == u"panel")
                return *widget;
        std::abort();
    }
    static QStringList lines() {
        QStringList texts;
        for (const auto *label : window().findChildren<QLabel *>())
            if (label->isVisibleTo(&window()) && !label->text().isEmpty())
                texts += label->accessibleName().isEmpty() ? label->text() : label->accessibleName();
        return texts;
    }
    static QPushButton *button(const QString &text) {
        for (auto *each : window().findChildren<QPushButton *>())
            if (each->text() == text && !each->isHidden() && each->isVisibleTo(&window()))
                return each;
        return nullptr;
    }
    void block(const AppAutomation::Target &target) {
        FakePlatform::instance().desktop->applications[target.id] = {
            .name = target.name, .permission = AUTOMATION_UNDECIDED, .answer = AUTOMATION_ALLOWED};
    }

    int quits = 0;
    Panel panel{*state, [this] { ++quits; }};

    static inline const AppAutomation::Target MAIL{u"com.apple.mail"_s, u"Mail"_s};
};

} // namespace ombru::test
