#include "applescript/objects/Window.h"

#include "applescript/objects/Arguments.h"
#include "applescript/run/Need.h"
#include "applescript/values/Coercion.h"

#include <QRect>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

// Something that can be done with a window; whatever it is called, the window comes to the front.
class Action final : public TableObject<Action> {
public:
    Action(const ObjectModel &model, QString name, quint64 window, Value windowReference)
        : m_model(model), m_name(std::move(name)), m_window(window), m_reference(std::move(windowReference)) {}

    static ClassTable<Action> table() {
        static constexpr PropertyRow<Action> PROPERTIES[] = {{u"name", &Action::title}};
        return {PROPERTIES, {}};
    }

    Value reference() const override { return m_reference; }
    bool perform() override {
        need(m_model.windowsToChange()->raiseWindow(m_window));
        return true;
    }

private:
    Value title() const { return m_name; }

    const ObjectModel &m_model;
    QString m_name;
    quint64 m_window;
    Value m_reference;
};

} // namespace

ClassTable<Window> Window::table() {
    static constexpr PropertyRow<Window> PROPERTIES[] = {
        {u"name", &Window::title},
        {u"title", &Window::title},
        {u"description", &Window::title},
        {u"position", &Window::position, &Window::moveTo},
        {u"size", &Window::size, &Window::resizeTo},
        {u"bounds", &Window::bounds, &Window::fit},
        {u"focused", &Window::focused, &Window::raise},
        {u"frontmost", &Window::focused, &Window::raise},
        {u"miniaturized", &Window::minimized, &Window::minimize},
        {u"minimized", &Window::minimized, &Window::minimize},
        {u"visible", &Window::visible, &Window::show},
        {u"index", &Window::index, &Window::moveToIndex},
        {u"id", &Window::id},
        {u"class", &Window::classOf},
        {u"role", &Window::role},
        {u"subrole", &Window::subrole},
    };
    static constexpr ElementRow<Window> ELEMENTS[] = {{u"action", nullptr, &Window::actionNamed}};
    return {PROPERTIES, ELEMENTS};
}

Window::Window(const ObjectModel &model, qint64 pid, WindowInfo info, Value container)
    : m_model(model), m_pid(pid), m_info(std::move(info)), m_container(std::move(container)) {}

Objects windowsOf(const ObjectModel &model, qint64 pid, const Value &container) {
    Objects all;
    for (auto &info : need(model.windows().windows(pid)))
        all.push_back(std::make_shared<Window>(model, pid, std::move(info), container));
    return all;
}

Value Window::reference() const {
    Specifier made;
    made.form = Specifier::Form::named;
    made.name = u"window"_s;
    made.key = m_info.name;
    made.identity = m_info.handle;
    made.container = m_container;
    return Value::specifier(std::move(made));
}

std::optional<QPoint> Window::middle() const {
    return QRect(m_info.position, m_info.size).center();
}

// Its buttons and fields; of actions it is known which there are.
bool Window::hides(QStringView className) const {
    return className != u"action";
}

bool Window::close() {
    need(m_model.windowsToChange()->closeWindow(m_info.handle));
    return true;
}

ObjectPtr Window::actionNamed(const Value &name) {
    const QString action = toText(name, m_model.context().rules());
    if (action != u"AXRaise" && action != u"AXPress")
        return nullptr;
    return std::make_shared<Action>(m_model, action, m_info.handle, reference());
}

// ---- Reading

Value Window::position() const {
    return Value::list({m_info.position.x(), m_info.position.y()});
}

Value Window::size() const {
    return Value::list({m_info.size.width(), m_info.size.height()});
}

Value Window::bounds() const {
    const QPoint at = m_info.position;
    return Value::list({at.x(), at.y(), at.x() + m_info.size.width(), at.y() + m_info.size.height()});
}

Value Window::index() const {
    const auto all = need(m_model.windows().windows(m_pid));
    const auto found = std::ranges::find(all, m_info.handle, &WindowInfo::handle);
    return found == all.end() ? Value() : Value(qint64(found - all.begin()) + 1);
}

Value Window::classOf() const {
    return ClassName{u"window"_s};
}

Value Window::role() const {
    return u"AXWindow"_s;
}

Value Window::subrole() const {
    return u"AXStandardWindow"_s;
}

// ---- Writing

bool Window::moveTo(const Value &value) {
    const QPoint position = pointOf(value, m_model.context());
    need(m_model.windowsToChange()->moveWindow(m_info.handle, position));
    return true;
}

void Window::resize(QPoint size) {
    need(m_model.windowsToChange()->resizeWindow(m_info.handle, QSize(size.x(), size.y())));
}

bool Window::resizeTo(const Value &value) {
    resize(pointOf(value, m_model.context()));
    return true;
}

bool Window::fit(const Value &value) {
    auto &context = m_model.context();
    const Value list = coerce(value, u"list"_s, context.rules());
    const auto &edges = (*list.as<ListPtr>())->items;
    if (edges.size() != 4)
        failCoercion(value, u"bounding rectangle"_s);
    const QPoint first = pointOf(Value::list({edges[0], edges[1]}), context);
    const QPoint last = pointOf(Value::list({edges[2], edges[3]}), context);
    need(m_model.windowsToChange()->moveWindow(m_info.handle, first));
    resize(last - first);
    return true;
}

bool Window::raise(const Value &) {
    need(m_model.windowsToChange()->raiseWindow(m_info.handle));
    return true;
}

bool Window::minimize(const Value &value) {
    const bool minimizes = toBoolean(value, m_model.context().rules());
    need(m_model.windowsToChange()->setMinimized(m_info.handle, minimizes));
    return true;
}

bool Window::show(const Value &value) {
    return minimize(!toBoolean(value, m_model.context().rules()));
}

// To the top, which is the only place a desktop lets one go to.
bool Window::moveToIndex(const Value &value) {
    return toInteger(value, m_model.context().rules()) == 1 && raise(value);
}

} // namespace ombru::applescript
