// Words that scripts use with applications whose own dictionary is unknown here. With them such a script compiles,
// and fails where it asks for what the application cannot do, so that it can catch the error.
#include "applescript/syntax/Words.h"

namespace ombru::applescript {

const Dictionary &commonWords() {
    static const Dictionary words = [] {
        using Direct = CommandTerm::Direct;
        Dictionary made;
        made.addClasses(u"text area|message|outgoing message|note|reminder|event|account|mailbox=mailboxes");
        made.addProperties(u"URL|current tab|active tab|selected tab|current session|current track|player state"
                           u"|selection|modified|subject|body");
        made.addCommand({.name = u"do script", .direct = Direct::expression, .parameters = u"in", .application = true});
        made.addCommand(
            {.name = u"do JavaScript", .direct = Direct::expression, .parameters = u"in", .application = true});
        made.addCommand(
            {.name = u"execute", .direct = Direct::expression, .parameters = u"javascript", .application = true});
        made.addCommand({.name = u"reload", .direct = Direct::object, .application = true});
        made.addCommand({.name = u"playpause", .direct = Direct::none, .application = true});
        return made;
    }();
    return words;
}

} // namespace ombru::applescript
