// A process that has windows, as System Events shows it.
#pragma once
#include "applescript/objects/ObjectModel.h"

namespace ombru::applescript {

class Process final : public TableObject<Process> {
public:
    Process(const ObjectModel &model, ProcessInfo info) : m_model(model), m_info(std::move(info)) {}

    static ClassTable<Process> table();

    Value reference() const override;
    QString name() const override { return m_info.name; }
    Value id() const override { return m_info.pid; }
    quint64 identity() const override { return quint64(m_info.pid); }
    bool hides(QStringView) const override { return true; } // its menus, and whatever is not in a window

private:
    Value title() const { return m_info.name; }
    Value frontmost() const { return m_info.frontmost; }
    Value visible() const { return m_info.visible; }
    Value backgroundOnly() const { return false; }
    Value identifier() const { return m_info.id; }
    Value classOf() const;
    Value role() const;
    bool bringToFront(const Value &value);
    bool show(const Value &value);
    Objects windows();

    const ObjectModel &m_model;
    ProcessInfo m_info;
};

} // namespace ombru::applescript
