// Words that scripts use with applications whose own dictionary is unknown here. With them such a script compiles,
// and fails where it asks for what the application cannot do, so that it can catch the error.
#include "applescript/syntax/Dictionary.h"

namespace ombru::applescript {

const Dictionary &commonWords() {
    static const Dictionary words = [] {
        using Direct = CommandTerm::Direct;
        Dictionary made;
        made.addClasses(u"text area|message|outgoing message|note|reminder|event|account|mailbox=mailboxes");
        made.addProperties(u"URL|current tab|active tab|selected tab|current session|current track|player state"
                           u"|selection|modified|subject|body");
        made.addApplicationCommand(u"do script", Direct::expression, u"in");
        made.addApplicationCommand(u"do JavaScript", Direct::expression, u"in");
        made.addApplicationCommand(u"execute", Direct::expression, u"javascript");
        made.addApplicationCommand(u"reload", Direct::object);
        made.addApplicationCommand(u"playpause", Direct::none);
        return made;
    }();
    return words;
}

} // namespace ombru::applescript
