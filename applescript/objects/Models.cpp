#include "applescript/objects/Models.h"

#include "applescript/objects/anyapplication/AnyApplication.h"
#include "applescript/objects/systemevents/SystemEvents.h"
#include "base/SystemEvents.h"

namespace ombru::applescript {

namespace {

template <class Model>
std::unique_ptr<ObjectModel> make(Context &context, const Application &application) {
    return std::make_unique<Model>(context, application);
}

Scope systemEventsScope() {
    return {&systemEventsWords(), &standardSuite()};
}

constexpr BuiltIn BUILT_IN[] = {
    {SYSTEM_EVENTS_NAME, SYSTEM_EVENTS_ID, SystemEvents::VERSION, &systemEventsScope, &make<SystemEvents>},
};

const BuiltIn *builtIn(QStringView BuiltIn::*key, QStringView wanted) {
    const auto *found = std::ranges::find_if(
        BUILT_IN, [&](const auto &row) { return wanted.compare(row.*key, Qt::CaseInsensitive) == 0; });
    return found == std::end(BUILT_IN) ? nullptr : found;
}

} // namespace

const BuiltIn *builtInNamed(QStringView name) {
    return builtIn(&BuiltIn::name, name);
}

const BuiltIn *builtInWithId(QStringView id) {
    return builtIn(&BuiltIn::id, id);
}

// A computed name may be that of System Events, whose words are most.
Scope wordsOfApplication(const QString *name) {
    if (!name)
        return systemEventsScope();
    const auto *named = builtInNamed(*name);
    const auto *own = named ? named : builtInWithId(*name);
    return own ? own->words() : Scope{&commonWords(), &standardSuite()};
}

std::unique_ptr<ObjectModel> modelOf(Context &context, const Application &application) {
    const auto *own = builtInWithId(application.id);
    return own ? own->model(context, application) : make<AnyApplication>(context, application);
}

} // namespace ombru::applescript
