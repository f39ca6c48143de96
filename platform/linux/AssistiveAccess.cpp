#include "platform/AssistiveAccess.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAccessibleWidget>
#include <QDialog>
#include <QLabel>
#include <QListView>
#include <QTableView>

#include <map>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// What a widget is, and what it says; nothing of what it does.
class Described : public QAccessibleWidget {
public:
    explicit Described(QWidget *widget) : QAccessibleWidget(widget, roleOf(*widget)) {}

    void *interface_cast(QAccessible::InterfaceType) override { return nullptr; }

    QString text(QAccessible::Text kind) const override {
        const auto shown = kind == QAccessible::Name ? nameOf(*widget()) : QString();
        return shown.isEmpty() ? QAccessibleWidget::text(kind) : shown;
    }

private:
    static QAccessible::Role roleOf(const QWidget &widget) {
        if (qobject_cast<const QDialog *>(&widget))
            return QAccessible::Dialog;
        if (qobject_cast<const QAbstractButton *>(&widget))
            return QAccessible::Button;
        if (qobject_cast<const QLabel *>(&widget))
            return QAccessible::StaticText;
        if (qobject_cast<const QTableView *>(&widget))
            return QAccessible::Table;
        if (qobject_cast<const QListView *>(&widget))
            return QAccessible::List;
        return widget.isWindow() ? QAccessible::Window : QAccessible::Client;
    }
    static QString nameOf(const QWidget &widget) {
        if (!widget.accessibleName().isEmpty())
            return widget.accessibleName();
        auto text = widget.property("text").toString();
        return qobject_cast<const QAbstractButton *>(&widget) ? text.remove(u'&') : text;
    }
};

// A cell of a table, or a line of a list, by its place.
class DescribedCell : public QAccessibleInterface {
public:
    DescribedCell(QAbstractItemView &view, int row, int column) : m_view(&view), m_row(row), m_column(column) {}

    bool isValid() const override { return m_view && index().isValid(); }
    QObject *object() const override { return nullptr; }
    QAccessibleInterface *childAt(int, int) const override { return nullptr; }
    QAccessibleInterface *parent() const override { return QAccessible::queryAccessibleInterface(m_view); }
    QAccessibleInterface *child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface *) const override { return -1; }
    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name && isValid() ? index().data().toString() : QString();
    }
    void setText(QAccessible::Text, const QString &) override {}
    QRect rect() const override {
        const auto place = isValid() ? m_view->visualRect(index()) : QRect();
        return {m_view ? m_view->viewport()->mapToGlobal(place.topLeft()) : QPoint(), place.size()};
    }
    QAccessible::Role role() const override {
        return qobject_cast<QListView *>(m_view.data()) ? QAccessible::ListItem : QAccessible::Cell;
    }
    QAccessible::State state() const override {
        QAccessible::State state;
        state.selected = isValid() && m_view->selectionModel()->isSelected(index());
        return state;
    }

private:
    QModelIndex index() const { return m_view->model()->index(m_row, m_column); }

    QPointer<QAbstractItemView> m_view;
    int m_row;
    int m_column;
};

// Its children are the cells, row by row.
class DescribedView : public Described {
public:
    explicit DescribedView(QAbstractItemView *view) : Described(view) {}
    ~DescribedView() override {
        for (const auto &[place, id] : m_cells)
            QAccessible::deleteAccessibleInterface(id);
    }

    int childCount() const override { return view().model() ? view().model()->rowCount() * columns() : 0; }
    QAccessibleInterface *child(int place) const override {
        if (place < 0 || place >= childCount())
            return nullptr;
        const auto [cell, isNew] = m_cells.try_emplace(place);
        if (isNew)
            cell->second = QAccessible::registerAccessibleInterface(
                new DescribedCell(view(), place / columns(), place % columns())); // the registry's from here on
        return QAccessible::accessibleInterface(cell->second);
    }
    int indexOfChild(const QAccessibleInterface *wanted) const override {
        for (const auto &[place, id] : m_cells) {
            if (QAccessible::accessibleInterface(id) == wanted)
                return place;
        }
        return -1;
    }

private:
    QAbstractItemView &view() const { return static_cast<QAbstractItemView &>(*widget()); }
    int columns() const { return std::max(view().model()->columnCount(), 1); }

    mutable std::map<int, QAccessible::Id> m_cells; // by place
};

QAccessibleInterface *describe(const QString &, QObject *object) {
    if (auto *view = qobject_cast<QAbstractItemView *>(object))
        return new DescribedView(view);
    return object->isWidgetType() ? new Described(static_cast<QWidget *>(object)) : nullptr;
}

} // namespace

void describeWindowsOnly() {
    QAccessible::installFactory(describe);
}

} // namespace ombru
