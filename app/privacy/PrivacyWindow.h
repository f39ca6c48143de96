// The privacy settings: a page for each permission, and on the last one the owner's decisions, which can be changed
// there. Main thread. Closing the window only hides it; whoever made it looks at isHidden().
#pragma once
#include "app/privacy/PrivacyModel.h"
#include "look/Look.h"

#include <QWidget>

#include <map>

class QLabel;
class QListWidget;
class QPushButton;
class QStackedWidget;
class QTableWidget;

namespace ombru {

class PrivacyWindow : public QWidget {
public:
    explicit PrivacyWindow(std::function<void()> onClose);

    // In front of the others, with the page of that anchor; of any other anchor as it is.
    void showAt(const QString &anchor);

    PrivacyModel &model() { return m_model; }

protected:
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    struct Page {
        QLabel *state = nullptr;
        QPushButton *ask = nullptr;
    };

    QWidget *makePage(const Permission &permission);
    QWidget *makeDecisions();
    QWidget *makeActions();
    void show(const PrivacyModel::View &view);
    void showDecisions(const std::vector<DecisionRow> &rows);
    void showRow(int index, const DecisionRow &row);
    void enableActions();
    const DecisionRow *selected() const; // null: none
    void act(const std::function<void(const DecisionRow &)> &action);

    std::function<void()> m_onClose;
    std::vector<DecisionRow> m_rows;
    // Owned by the window.
    QListWidget *m_sections = nullptr;
    QStackedWidget *m_pages = nullptr;
    std::map<QString, Page> m_permissions;
    QTableWidget *m_decisions = nullptr;
    QLabel *m_instead = nullptr; // of the decisions: why there are none to see
    QPushButton *m_allow = nullptr;
    QPushButton *m_refuse = nullptr;
    QPushButton *m_forget = nullptr;
    QLabel *m_failure = nullptr;
    PrivacyModel m_model;
    Look m_look;
};

} // namespace ombru
