#include "app/privacy/PrivacyWindow.h"

#include "look/Letters.h"
#include "look/Style.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr QSize SIZE(860, 480); // with ordinary letters
constexpr int MARGIN = 16;
constexpr int NARROWEST = 100; // of the columns, with ordinary letters
constexpr QSize FRAME(16, 48); // what a window manager draws around
constexpr double LARGE = 1.3;  // of the ordinary letters

QLabel *makeLabel(const QString &text, double size = 1, bool bold = false) {
    auto *label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * size);
    font.setBold(bold);
    label->setFont(font);
    return label;
}

QTableWidgetItem *makeCell(const QString &text, const QString &place = {}) {
    const bool isMore = !place.isEmpty() && place != text;
    auto *cell = new QTableWidgetItem(isMore ? u"%1 (%2)"_s.arg(text, place) : text);
    cell->setFlags(Qt::ItemIsSelectable | Qt::ItemIsEnabled);
    cell->setToolTip(cell->text().toHtmlEscaped());
    return cell;
}

QSize wantedSize() {
    const QSize wanted(withLetters(SIZE.width()), withLetters(SIZE.height()));
    return wanted.boundedTo(QGuiApplication::primaryScreen()->availableSize() - FRAME);
}

// For letters so large that a page is higher than the screen.
QScrollArea *scrolling(QWidget *page) {
    auto *area = new QScrollArea;
    area->setWidget(page);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setFocusPolicy(Qt::NoFocus);
    return area;
}

} // namespace

PrivacyWindow::PrivacyWindow(std::function<void()> onClose)
    : m_onClose(std::move(onClose)), m_model([this] { show(m_model.view()); }),
      m_look(*this, [this](const Colours &colours) { setStyleSheet(windowStyle(colours)); }) {
    setWindowTitle(QCoreApplication::translate("Privacy", "ombru: privacy"));
    setWindowIcon(QIcon::fromTheme(u"ombru"_s));
    resize(wantedSize());
    m_sections = new QListWidget;
    m_sections->setObjectName(u"sections"_s);
    m_pages = new QStackedWidget;
    for (const auto &permission : Permissions::all) {
        m_sections->addItem(permission.title);
        m_pages->addWidget(scrolling(makePage(permission)));
    }
    m_sections->setFixedWidth(m_sections->sizeHintForColumn(0) + 4 * MARGIN);
    connect(m_sections, &QListWidget::currentRowChanged, m_pages, &QStackedWidget::setCurrentIndex);
    m_failure = makeLabel({});
    m_failure->setObjectName(u"failure"_s);
    auto *row = new QHBoxLayout;
    row->addWidget(m_sections);
    row->addWidget(m_pages, 1);
    auto *column = new QVBoxLayout(this);
    column->addLayout(row, 1);
    column->addWidget(m_failure);
    m_sections->setCurrentRow(0);
    show(m_model.view());
}

QWidget *PrivacyWindow::makePage(const Permission &permission) {
    auto *page = new QWidget;
    auto *column = new QVBoxLayout(page);
    column->setContentsMargins(MARGIN, 0, 0, 0);
    column->addWidget(makeLabel(permission.title, LARGE, true));
    column->addWidget(makeLabel(permission.why));
    auto *row = new QHBoxLayout;
    Page &parts = m_permissions[permission.id];
    parts.state = makeLabel({}, 1, true);
    parts.state->setObjectName(u"state-"_s + permission.id);
    parts.ask = new QPushButton;
    parts.ask->setObjectName(u"ask-"_s + permission.id);
    connect(parts.ask, &QPushButton::clicked, this, [this, id = permission.id] { m_model.ask(id); });
    row->addWidget(parts.state, 1);
    row->addWidget(parts.ask);
    column->addSpacing(MARGIN);
    column->addLayout(row);
    column->addSpacing(MARGIN);
    if (permission.id == u"automation"_s)
        column->addWidget(makeDecisions(), 1);
    else
        column->addStretch();
    return page;
}

QWidget *PrivacyWindow::makeDecisions() {
    auto *box = new QWidget;
    auto *column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(makeLabel(
        QCoreApplication::translate("Privacy", "Your decisions on which programs may control which applications:")));
    m_decisions = new QTableWidget(0, 4);
    m_decisions->setObjectName(u"decisions"_s);
    m_decisions->setHorizontalHeaderLabels(
        {QCoreApplication::translate("Privacy", "Program"), QCoreApplication::translate("Privacy", "Application"),
         QCoreApplication::translate("Privacy", "Decision"), QCoreApplication::translate("Privacy", "When")});
    m_decisions->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_decisions->setSelectionMode(QAbstractItemView::SingleSelection);
    m_decisions->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_decisions->setTabKeyNavigation(false); // Tab leaves for the buttons
    m_decisions->setWordWrap(false);
    m_decisions->setTextElideMode(Qt::ElideMiddle);
    m_decisions->verticalHeader()->hide();
    m_decisions->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_decisions->horizontalHeader()->setMinimumSectionSize(withLetters(NARROWEST)); // then it scrolls
    for (const int part : {0, 1})
        m_decisions->horizontalHeader()->setSectionResizeMode(part, QHeaderView::Stretch);
    connect(m_decisions, &QTableWidget::itemSelectionChanged, this, [this] { enableActions(); });
    m_instead = makeLabel({});
    m_instead->setObjectName(u"instead"_s);
    m_instead->setAlignment(Qt::AlignCenter);
    column->addWidget(m_decisions, 1);
    column->addWidget(m_instead, 1);
    column->addWidget(makeActions());
    return box;
}

QWidget *PrivacyWindow::makeActions() {
    auto *box = new QWidget;
    auto *row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->addStretch();
    const auto add = [&](const char *name, const QString &text, std::function<void(const DecisionRow &)> action) {
        auto *button = new QPushButton(text);
        button->setObjectName(QString::fromLatin1(name));
        connect(button, &QPushButton::clicked, this, [this, action = std::move(action)] { act(action); });
        row->addWidget(button);
        return button;
    };
    m_allow = add("allow", QCoreApplication::translate("Privacy", "A&llow…"),
                  [this](const DecisionRow &row) { m_model.allow(row.client, row.application); });
    m_refuse = add("refuse", QCoreApplication::translate("Privacy", "&Refuse"),
                   [this](const DecisionRow &row) { m_model.refuse(row.client, row.application); });
    m_forget = add("forget", QCoreApplication::translate("Privacy", "&Forget"),
                   [this](const DecisionRow &row) { m_model.forget(row.client, row.application); });
    m_forget->setToolTip(QCoreApplication::translate("Privacy", "You are asked again the next time."));
    return box;
}

void PrivacyWindow::showAt(const QString &anchor) {
    const auto permission = permissionAt(anchor);
    const auto found = std::ranges::find(Permissions::all, permission ? permission->id : QString(), &Permission::id);
    if (found != Permissions::all.end())
        m_sections->setCurrentRow(int(found - Permissions::all.begin()));
    m_sections->setFocus();
    setWindowState(windowState() & ~Qt::WindowMinimized);
    QWidget::show();
    raise();
    activateWindow();
}

void PrivacyWindow::changeEvent(QEvent *event) {
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        m_model.refresh();
    QWidget::changeEvent(event);
}

void PrivacyWindow::closeEvent(QCloseEvent *event) {
    QWidget::closeEvent(event);
    m_onClose();
}

void PrivacyWindow::show(const PrivacyModel::View &view) {
    for (const auto &row : permissionRows(view.permissions, view.asking)) {
        const Page &page = m_permissions.at(row.id);
        page.state->setText(row.state);
        page.ask->setText(row.button);
        page.ask->setEnabled(row.canAsk);
    }
    m_failure->setText(view.failure);
    m_failure->setVisible(!view.failure.isEmpty());
    if (!view.looked)
        m_instead->setText(QCoreApplication::translate("Privacy", "Looking…"));
    else if (!view.decisions)
        m_instead->setText(view.decisions.error().description);
    else
        m_instead->setText(QCoreApplication::translate(
            "Privacy", "None yet. You are asked when a script wants to control an application."));
    showDecisions(view.decisions.value_or(std::vector<DecisionRow>()));
    m_decisions->setVisible(!m_rows.empty());
    m_instead->setVisible(m_rows.empty());
}

// Keeps the selection on the decision it was on, or, when that has gone, on the place.
void PrivacyWindow::showDecisions(const std::vector<DecisionRow> &rows) {
    if (rows != m_rows) {
        const int place = m_decisions->currentRow();
        const auto before = selected() ? *selected() : DecisionRow();
        m_rows = rows;
        m_decisions->setRowCount(int(rows.size()));
        for (int index = 0; index < int(rows.size()); ++index)
            showRow(index, rows[std::size_t(index)]);
        const auto same = std::ranges::find_if(m_rows, [&](const DecisionRow &row) {
            return row.client == before.client && row.application == before.application;
        });
        const int last = int(m_rows.size()) - 1;
        m_decisions->selectRow(same != m_rows.end() ? int(same - m_rows.begin())
                                                    : std::clamp(place, 0, std::max(last, 0)));
    }
    enableActions();
}

void PrivacyWindow::showRow(int index, const DecisionRow &row) {
    m_decisions->setItem(index, 0, makeCell(row.program, row.programPlace));
    m_decisions->setItem(index, 1, makeCell(row.target, row.targetPlace));
    m_decisions->setItem(index, 2, makeCell(row.decision));
    m_decisions->setItem(index, 3, makeCell(row.time));
}

void PrivacyWindow::enableActions() {
    const auto *row = selected();
    m_allow->setEnabled(row && !row->allowed);
    m_refuse->setEnabled(row && row->allowed);
    m_forget->setEnabled(row);
}

const DecisionRow *PrivacyWindow::selected() const {
    const int row = m_decisions->currentRow();
    return row >= 0 && row < int(m_rows.size()) ? &m_rows[std::size_t(row)] : nullptr;
}

void PrivacyWindow::act(const std::function<void(const DecisionRow &)> &action) {
    if (const auto *row = selected())
        action(DecisionRow(*row));
}

} // namespace ombru
