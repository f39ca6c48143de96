#include "applescript/run/DesktopModel.h"

#include "applescript/run/Need.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

Value pair(qint64 first, qint64 second) {
    return Value::list({first, second});
}

} // namespace

DesktopModel::DesktopModel(Interpreter &interpreter, Application application)
    : m_interpreter(interpreter), m_host(interpreter.host()), m_application(std::move(application)),
      m_systemEvents(m_application.id == SYSTEM_EVENTS_ID) {}

void DesktopModel::failToGet(const Specifier &part, int number) const {
    QString message = u"Can’t get %1."_s.arg(formatReference(part, false));
    if (number == error::INVALID_INDEX)
        message += u" Invalid index."_s;
    throw ScriptError{number, message};
}

const std::vector<ProcessInfo> &DesktopModel::processes() {
    if (!m_processes)
        m_processes = need(need(m_host.windows())->processes());
    return *m_processes;
}

Value DesktopModel::perform(const Event &event) {
    const auto *specifier = event.direct.as<SpecifierPtr>();
    if (event.command == u"get" && specifier)
        return get(**specifier);
    if (event.command == u"set" && specifier) {
        set(**specifier, *event.parameter(u"to"));
        return *event.parameter(u"to");
    }
    if (event.command == u"exists" && specifier) {
        try {
            return !resolve(**specifier).empty();
        } catch (const ScriptError &error) {
            if (error.number == error::NO_SUCH_OBJECT || error.number == error::INVALID_INDEX)
                return false;
            throw;
        }
    }
    return applicationCommand(event);
}

// ---- Finding objects

DesktopModel::Objects DesktopModel::resolve(const Specifier &specifier) {
    if (specifier.form == Specifier::Form::application)
        return {Object{}};
    const Specifier *outer = specifier.containerSpecifier();
    if (!outer || specifier.form == Specifier::Form::property)
        failToGet(specifier);
    Objects found;
    for (const auto &container : resolve(*outer)) {
        for (auto &object : elements(container, specifier.name, specifier))
            found.push_back(std::move(object));
    }
    return found;
}

DesktopModel::Objects DesktopModel::elements(const Object &container, const QString &name, const Specifier &part) {
    Objects all;
    const bool ofApplication = container.kind == Object::Kind::application;
    if (m_systemEvents && ofApplication && (name == u"process" || name == u"application process")) {
        for (const auto &process : processes())
            all.push_back({Object::Kind::process, process, {}, {}});
        return choose(std::move(all), part);
    }
    if (name == u"window" && (container.kind == Object::Kind::process || (ofApplication && !m_systemEvents))) {
        for (const auto &process : processes()) {
            if (ofApplication ? process.id != m_application.id : process.pid != container.process.pid)
                continue;
            for (const auto &window : need(need(m_host.windows())->windows(process.pid)))
                all.push_back({Object::Kind::window, process, window, {}});
        }
        return choose(std::move(all), part);
    }
    if (name == u"action" && container.kind == Object::Kind::window && part.form == Specifier::Form::named) {
        const QString action = toText(part.key, m_interpreter.rules());
        if (action == u"AXRaise" || action == u"AXPress")
            return {{Object::Kind::action, container.process, container.window, action}};
    }
    if (part.form == Specifier::Form::every && container.kind == Object::Kind::window)
        return {}; // nothing inside a window is known
    failToGet(part);
}

DesktopModel::Objects DesktopModel::filtered(Objects candidates, const Specifier &part) {
    if (part.filter)
        std::erase_if(candidates, [&](const Object &object) { return !part.filter->accepts(reference(object)); });
    return candidates;
}

bool DesktopModel::isAtIdentity(const Object &object, const Specifier &part) const {
    const quint64 identity = object.kind == Object::Kind::window ? object.window.handle : quint64(object.process.pid);
    return part.identity != 0 && identity == part.identity;
}

DesktopModel::Objects DesktopModel::choose(Objects candidates, const Specifier &part) {
    using enum Specifier::Form;
    const auto &rules = m_interpreter.rules();
    for (const auto &object : candidates) {
        if (isAtIdentity(object, part))
            return {object};
    }
    candidates = filtered(std::move(candidates), part);
    const auto count = qint64(candidates.size());
    const auto at = [&](const Value &key) {
        qint64 index = toInteger(key, rules);
        index = index < 0 ? count + index : index - 1;
        if (index < 0 || index >= count)
            failToGet(part, error::INVALID_INDEX);
        return index;
    };
    switch (part.form) {
    case every:
        return candidates;
    case index:
        return {candidates[std::size_t(at(part.key))]};
    case middle:
        return {candidates[std::size_t(at(Value((count + 1) / 2)))]};
    case some:
        return {candidates[std::size_t(at(Value(1 + qint64(m_host.system().random() * double(count)))))]};
    case range: {
        auto first = at(part.key), last = at(part.last);
        if (first > last)
            std::swap(first, last);
        return {candidates.begin() + first, candidates.begin() + last + 1};
    }
    case named:
    case byId:
        return {withNameOrId(candidates, part)};
    default:
        failToGet(part);
    }
}

DesktopModel::Object DesktopModel::withNameOrId(const Objects &candidates, const Specifier &part) const {
    for (const auto &object : candidates) {
        const Value own = part.form == Specifier::Form::named ? Value(nameOf(object)) : idOf(object);
        if (areEqual(own, part.key, m_interpreter.rules()))
            return object;
    }
    if (auto process = processOfApplication(candidates, part))
        return std::move(*process);
    failToGet(part);
}

// A process by another name of its application: "TextEdit" is what scripts call the text editor.
std::optional<DesktopModel::Object> DesktopModel::processOfApplication(const Objects &candidates,
                                                                       const Specifier &part) const {
    if (part.form != Specifier::Form::named || candidates.empty() || candidates[0].kind != Object::Kind::process)
        return std::nullopt;
    const auto application = m_host.applications().applicationNamed(toText(part.key, m_interpreter.rules()));
    for (const auto &object : candidates) {
        if (application && object.process.id == application->id)
            return object;
    }
    return std::nullopt;
}

QString DesktopModel::nameOf(const Object &object) const {
    return object.kind == Object::Kind::window ? object.window.name : object.process.name;
}

Value DesktopModel::idOf(const Object &object) const {
    return object.kind == Object::Kind::window ? Value(qint64(object.window.handle)) : Value(object.process.pid);
}

// The object's own description, which finds this very object again as long as it lives.
Value DesktopModel::reference(const Object &object) const {
    Value container = applicationValue(m_application);
    if (object.kind == Object::Kind::application)
        return container;
    Specifier made;
    made.form = Specifier::Form::named;
    if (object.kind == Object::Kind::process || m_systemEvents) {
        made.name = u"application process"_s;
        made.key = object.process.name;
        made.identity = quint64(object.process.pid);
        made.container = container;
        container = Value::specifier(made);
    }
    if (object.kind == Object::Kind::process)
        return container;
    made.name = u"window"_s;
    made.key = object.window.name;
    made.identity = object.window.handle;
    made.container = container;
    return Value::specifier(std::move(made));
}

DesktopModel::Object DesktopModel::single(const Value &value) {
    const auto *specifier = value.as<SpecifierPtr>();
    if (!specifier)
        throw ScriptError{error::WRONG_TYPE,
                          u"%1 is not an object of %2."_s.arg(formatSource(value), m_application.name)};
    auto found = resolve(**specifier);
    if (found.empty())
        failToGet(**specifier);
    return found.front();
}

// ---- Properties

Value DesktopModel::get(const Specifier &specifier) {
    if (specifier.form == Specifier::Form::property) {
        const Specifier *outer = specifier.containerSpecifier();
        if (!outer || outer->form == Specifier::Form::property)
            failToGet(specifier);
        const auto objects = resolve(*outer);
        if (!outer->isPlural() || outer->filter == nullptr
                ? !outer->isPlural() && objects.size() == 1 &&
                      (!outer->containerSpecifier() || !outer->containerSpecifier()->isPlural())
                : false)
            return property(objects.front(), specifier.name, specifier);
        std::vector<Value> values;
        for (const auto &object : objects)
            values.push_back(property(object, specifier.name, specifier));
        return Value::list(std::move(values));
    }
    const auto objects = resolve(specifier);
    bool plural = specifier.isPlural();
    for (const auto *outer = specifier.containerSpecifier(); outer; outer = outer->containerSpecifier())
        plural = plural || outer->isPlural();
    if (!plural)
        return reference(objects.front());
    std::vector<Value> values;
    for (const auto &object : objects)
        values.push_back(reference(object));
    return Value::list(std::move(values));
}

Value DesktopModel::property(const Object &object, const QString &name, const Specifier &asked) {
    std::optional<Value> found;
    if (object.kind == Object::Kind::process)
        found = processProperty(object, name);
    else if (object.kind == Object::Kind::window)
        found = windowProperty(object, name);
    else if (object.kind == Object::Kind::application)
        found = applicationProperty(name);
    else if (name == u"name")
        found = object.action;
    if (!found)
        failToGet(asked);
    return *found;
}

std::optional<Value> DesktopModel::applicationProperty(const QString &name) {
    if (name == u"frontmost")
        return Value(!m_systemEvents && m_host.applications().isFrontmost(m_application.id));
    if (name == u"UI elements enabled")
        return Value(m_systemEvents);
    return std::nullopt;
}

std::optional<Value> DesktopModel::processProperty(const Object &object, const QString &name) {
    const auto &process = object.process;
    if (name == u"name" || name == u"displayed name" || name == u"title" || name == u"short name")
        return Value(process.name);
    if (name == u"frontmost")
        return Value(process.frontmost);
    if (name == u"visible")
        return Value(process.visible);
    if (name == u"background only")
        return Value(false);
    if (name == u"unix id" || name == u"id")
        return Value(process.pid);
    if (name == u"bundle identifier")
        return Value(process.id);
    if (name == u"class")
        return Value(ClassName{u"application process"_s});
    if (name == u"role")
        return Value(u"AXApplication"_s);
    return std::nullopt;
}

std::optional<Value> DesktopModel::windowProperty(const Object &object, const QString &name) {
    const auto &window = object.window;
    const QPoint at = window.position;
    if (name == u"name" || name == u"title" || name == u"description")
        return Value(window.name);
    if (name == u"position")
        return pair(at.x(), at.y());
    if (name == u"size")
        return pair(window.size.width(), window.size.height());
    if (name == u"bounds")
        return Value::list({at.x(), at.y(), at.x() + window.size.width(), at.y() + window.size.height()});
    if (name == u"focused" || name == u"frontmost")
        return Value(window.focused);
    if (name == u"miniaturized" || name == u"minimized")
        return Value(window.minimized);
    if (name == u"visible")
        return Value(!window.minimized);
    if (name == u"id")
        return Value(qint64(window.handle));
    if (name == u"index") {
        const auto all = need(need(m_host.windows())->windows(object.process.pid));
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (all[i].handle == window.handle)
                return Value(qint64(i) + 1);
        }
    }
    if (name == u"class")
        return Value(ClassName{u"window"_s});
    if (name == u"role")
        return Value(u"AXWindow"_s);
    if (name == u"subrole")
        return Value(u"AXStandardWindow"_s);
    return std::nullopt;
}

void DesktopModel::set(const Specifier &specifier, const Value &value) {
    const Specifier *outer = specifier.containerSpecifier();
    const auto refuse = [&] {
        throw ScriptError{error::CANNOT_SET,
                          u"Can’t set %1 to %2."_s.arg(formatReference(specifier, false), formatSource(value))};
    };
    if (specifier.form != Specifier::Form::property || !outer)
        refuse();
    for (const auto &object : resolve(*outer)) {
        if (object.kind == Object::Kind::process)
            setProcess(object, specifier, value);
        else if (object.kind == Object::Kind::window)
            setWindow(object, specifier, value);
        else if (specifier.name == u"frontmost" && !m_systemEvents)
            need(m_host.applications().activate(m_application.id));
        else
            refuse();
    }
}

void DesktopModel::setProcess(const Object &object, const Specifier &asked, const Value &value) {
    const auto &rules = m_interpreter.rules();
    if (asked.name == u"frontmost") {
        if (toBoolean(value, rules))
            need(need(m_host.windows())->bringToFront(object.process.pid));
    } else if (asked.name == u"visible") {
        need(need(m_host.windows())->setVisible(object.process.pid, toBoolean(value, rules)));
    } else {
        throw ScriptError{error::CANNOT_SET,
                          u"Can’t set %1 to %2."_s.arg(formatReference(asked, false), formatSource(value))};
    }
}

void DesktopModel::setWindow(const Object &object, const Specifier &asked, const Value &value) {
    const auto &rules = m_interpreter.rules();
    const auto handle = object.window.handle;
    const QString &name = asked.name;
    if (name == u"position") {
        need(need(m_host.windows())->moveWindow(handle, point(value)));
    } else if (name == u"size") {
        const QPoint size = point(value);
        need(need(m_host.windows())->resizeWindow(handle, QSize(size.x(), size.y())));
    } else if (name == u"bounds") {
        const Value list = coerce(value, u"list"_s, rules);
        const auto &edges = (*list.as<ListPtr>())->items;
        if (edges.size() != 4)
            failCoercion(value, u"bounding rectangle"_s);
        const QPoint first = point(Value::list({edges[0], edges[1]})), last = point(Value::list({edges[2], edges[3]}));
        need(need(m_host.windows())->moveWindow(handle, first));
        need(need(m_host.windows())->resizeWindow(handle, QSize(last.x() - first.x(), last.y() - first.y())));
    } else if (name == u"miniaturized" || name == u"minimized") {
        need(need(m_host.windows())->setMinimized(handle, toBoolean(value, rules)));
    } else if (name == u"visible") {
        need(need(m_host.windows())->setMinimized(handle, !toBoolean(value, rules)));
    } else if ((name == u"index" && toInteger(value, rules) == 1) || name == u"focused" || name == u"frontmost") {
        need(need(m_host.windows())->raiseWindow(handle));
    } else {
        throw ScriptError{error::CANNOT_SET,
                          u"Can’t set %1 to %2."_s.arg(formatReference(asked, false), formatSource(value))};
    }
}

} // namespace ombru::applescript
