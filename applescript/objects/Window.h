// A window of an application, and the actions on it.
#pragma once
#include "applescript/objects/ObjectModel.h"

namespace ombru::applescript {

class Window final : public TableObject<Window> {
public:
    // `container` is what it is a window of.
    Window(const ObjectModel &model, qint64 pid, WindowInfo info, Value container);

    static ClassTable<Window> table();

    Value reference() const override;
    QString name() const override { return m_info.name; }
    Value id() const override { return qint64(m_info.handle); }
    quint64 identity() const override { return m_info.handle; }
    bool hides(QStringView className) const override;
    std::optional<QPoint> middle() const override;
    bool close() override;

private:
    Value title() const { return m_info.name; }
    Value position() const;
    Value size() const;
    Value bounds() const;
    Value focused() const { return m_info.focused; }
    Value minimized() const { return m_info.minimized; }
    Value visible() const { return !m_info.minimized; }
    Value index() const;
    Value classOf() const;
    Value role() const;
    Value subrole() const;
    bool moveTo(const Value &value);
    bool resizeTo(const Value &value);
    bool fit(const Value &value);
    bool raise(const Value &value);
    bool minimize(const Value &value);
    bool show(const Value &value);
    bool moveToIndex(const Value &value);
    ObjectPtr actionNamed(const Value &name);
    void resize(QPoint size);

    const ObjectModel &m_model;
    qint64 m_pid;
    WindowInfo m_info;
    Value m_container;
};

// The windows of a process, topmost first.
Objects windowsOf(const ObjectModel &model, qint64 pid, const Value &container);

} // namespace ombru::applescript
