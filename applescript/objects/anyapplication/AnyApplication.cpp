#include "applescript/objects/anyapplication/AnyApplication.h"

#include "applescript/objects/Arguments.h"
#include "applescript/objects/Window.h"
#include "applescript/run/Need.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Format.h"

namespace ombru::applescript {

ClassTable<AnyApplication> AnyApplication::table() {
    static constexpr PropertyRow<AnyApplication> PROPERTIES[] = {
        {u"frontmost", &AnyApplication::frontmost, &AnyApplication::bringToFront},
        {u"UI elements enabled", &AnyApplication::elementsEnabled},
    };
    static constexpr ElementRow<AnyApplication> ELEMENTS[] = {{u"window", &AnyApplication::windows}};
    return {PROPERTIES, ELEMENTS};
}

std::span<const CommandRow<AnyApplication>> AnyApplication::commandsEverywhere() {
    using enum CommandTerm::Direct;
    static constexpr CommandRow<AnyApplication> COMMANDS[] = {
        {{.name = u"activate", .direct = expression, .describes = true}, &AnyApplication::activate},
        {{.name = u"launch", .direct = expression, .describes = true}, &AnyApplication::launch},
        {{.name = u"run", .direct = expression}, &AnyApplication::launch},
        {{.name = u"quit", .direct = expression, .parameters = u"saving=yes,no,ask", .describes = true},
         &AnyApplication::quit},
    };
    return COMMANDS;
}

std::span<const CommandRow<AnyApplication>> AnyApplication::commands() {
    using enum CommandTerm::Direct;
    static constexpr CommandRow<AnyApplication> COMMANDS[] = {
        {{.name = u"reopen", .direct = expression}, &AnyApplication::activate},
        {{.name = u"open", .direct = expression, .parameters = u"using|with properties"}, &AnyApplication::open},
        {{.name = u"close", .direct = expression, .parameters = u"saving in|saving=yes,no,ask", .describes = true},
         &AnyApplication::closeWindows},
        {{.name = u"delete", .direct = expression}},
        {{.name = u"select", .direct = expression}},
        {{.name = u"save", .direct = expression, .parameters = u"in|as"}},
        {{.name = u"print", .direct = expression, .parameters = u"with properties"}},
        {{.name = u"make", .direct = none, .parameters = u"new|at|with properties|with data"}},
        {{.name = u"duplicate", .direct = expression, .parameters = u"to|with properties"}},
        {{.name = u"move", .direct = expression, .parameters = u"to"}},
    };
    return COMMANDS;
}

Value AnyApplication::command(const Event &event) {
    for (const auto rows : {commandsEverywhere(), commands()}) {
        if (const auto *row = commandNamed(rows, event.command))
            return (this->*row->run)(event);
    }
    refuse(event);
}

void AnyApplication::refuse(const Event &event) {
    failNotUnderstood(event.direct.isNothing() ? reference() : event.direct, event.command);
}

Objects AnyApplication::windows() {
    Objects all;
    for (const auto &process : processes()) {
        if (process.id != application().id)
            continue;
        for (auto &window : windowsOf(*this, process.pid, reference()))
            all.push_back(std::move(window));
    }
    return all;
}

Value AnyApplication::frontmost() const {
    return applications().isFrontmost(application().id);
}

bool AnyApplication::bringToFront(const Value &) {
    need(applications().activate(application().id));
    return true;
}

// ---- Commands

Value AnyApplication::activate(const Event &) {
    need(applications().activate(application().id));
    return {};
}

Value AnyApplication::launch(const Event &) {
    need(applications().launch(application().id));
    return {};
}

Value AnyApplication::quit(const Event &) {
    need(applications().quit(application().id));
    return {};
}

Value AnyApplication::open(const Event &event) {
    if (event.direct.isNothing())
        refuse(event);
    QStringList paths;
    for (const auto &item : itemsOf(event.direct)) {
        const Value file = context().follow(item);
        const auto *place = file.as<FileReference>();
        paths.append(place ? place->path : fromColonPath(toText(file, context().rules())));
    }
    need(applications().open(application().id, paths));
    return {};
}

Value AnyApplication::closeWindows(const Event &event) {
    const auto *specifier = event.direct.as<SpecifierPtr>();
    if (!specifier)
        refuse(event);
    for (const auto &object : resolve(**specifier))
        object->close(); // what cannot be closed stays
    return {};
}

} // namespace ombru::applescript
