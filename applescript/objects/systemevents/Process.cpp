#include "applescript/objects/systemevents/Process.h"

#include "applescript/objects/Window.h"
#include "applescript/run/Need.h"
#include "applescript/values/Coercion.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

ClassTable<Process> Process::table() {
    static constexpr PropertyRow<Process> PROPERTIES[] = {
        {u"name", &Process::title},
        {u"displayed name", &Process::title},
        {u"title", &Process::title},
        {u"short name", &Process::title},
        {u"frontmost", &Process::frontmost, &Process::bringToFront},
        {u"visible", &Process::visible, &Process::show},
        {u"background only", &Process::backgroundOnly},
        {u"unix id", &Process::id},
        {u"id", &Process::id},
        {u"bundle identifier", &Process::identifier},
        {u"class", &Process::classOf},
        {u"role", &Process::role},
    };
    static constexpr ElementRow<Process> ELEMENTS[] = {{u"window", &Process::windows}};
    return {PROPERTIES, ELEMENTS};
}

Value Process::reference() const {
    Specifier made;
    made.form = Specifier::Form::named;
    made.name = u"application process"_s;
    made.key = m_info.name;
    made.identity = identity();
    made.container = applicationValue(m_model.application());
    return Value::specifier(std::move(made));
}

Objects Process::windows() {
    return windowsOf(m_model, m_info.pid, reference());
}

Value Process::classOf() const {
    return ClassName{u"application process"_s};
}

Value Process::role() const {
    return u"AXApplication"_s;
}

bool Process::bringToFront(const Value &value) {
    if (toBoolean(value, m_model.context().rules()))
        need(m_model.windowsToChange()->bringToFront(m_info.pid));
    return true;
}

bool Process::show(const Value &value) {
    const bool shows = toBoolean(value, m_model.context().rules());
    need(m_model.windowsToChange()->setVisible(m_info.pid, shows));
    return true;
}

} // namespace ombru::applescript
