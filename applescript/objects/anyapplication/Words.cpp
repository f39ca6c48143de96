// The words for any application: those of the tables beside this, and those that only let a script compile.
#include "applescript/objects/Window.h"
#include "applescript/objects/anyapplication/AnyApplication.h"

namespace ombru::applescript {

void addEverywhereWords(Dictionary &dictionary) {
    addWords(dictionary, AnyApplication::commandsEverywhere());
}

const Dictionary &standardSuite() {
    static const Dictionary suite = [] {
        Dictionary made;
        made.addClasses(u"window|document");
        made.addProperties(u"bounds|index|visible|miniaturized|minimized|position|size|title|zoomed");
        made.addConstants(u"yes|no|ask");
        addWords(made, AnyApplication::commands());
        return made;
    }();
    return suite;
}

// With these a script compiles that is for an application of unknown dictionary, and fails where it asks for what the
// application cannot do, so that it can catch the error.
const Dictionary &commonWords() {
    static const Dictionary words = [] {
        using enum CommandTerm::Direct;
        static constexpr CommandRow<AnyApplication> COMMANDS[] = {
            {{.name = u"do script", .direct = expression, .parameters = u"in"}},
            {{.name = u"do JavaScript", .direct = expression, .parameters = u"in"}},
            {{.name = u"execute", .direct = expression, .parameters = u"javascript"}},
            {{.name = u"reload", .direct = object}},
            {{.name = u"playpause", .direct = none}},
        };
        Dictionary made;
        made.addClasses(u"text area|message|outgoing message|note|reminder|event|account|mailbox=mailboxes");
        made.addProperties(u"URL|current tab|active tab|selected tab|current session|current track|player state"
                           u"|selection|modified|subject|body");
        addWords(made, std::span<const CommandRow<AnyApplication>>(COMMANDS));
        return made;
    }();
    return words;
}

} // namespace ombru::applescript
