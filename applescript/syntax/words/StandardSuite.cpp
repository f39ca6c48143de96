// The words every application understands, or at least answers to.
#include "applescript/syntax/Words.h"

namespace ombru::applescript {

const Dictionary &standardSuite() {
    static const Dictionary suite = [] {
        using Direct = CommandTerm::Direct;
        Dictionary made;
        made.addClasses(u"window|document");
        made.addProperties(u"bounds|index|visible|miniaturized|minimized|position|size|title|zoomed");
        made.addConstants(u"yes|no|ask");
        for (const auto *name : {u"reopen", u"delete", u"select"})
            made.addCommand({.name = name, .direct = Direct::expression, .application = true});
        made.addCommand({.name = u"open",
                         .direct = Direct::expression,
                         .parameters = u"using|with properties",
                         .application = true});
        made.addCommand({.name = u"close",
                         .direct = Direct::expression,
                         .parameters = u"saving in|saving=yes,no,ask",
                         .application = true});
        made.addCommand({.name = u"save", .direct = Direct::expression, .parameters = u"in|as", .application = true});
        made.addCommand(
            {.name = u"print", .direct = Direct::expression, .parameters = u"with properties", .application = true});
        made.addCommand({.name = u"make",
                         .direct = Direct::none,
                         .parameters = u"new|at|with properties|with data",
                         .application = true});
        made.addCommand({.name = u"duplicate",
                         .direct = Direct::expression,
                         .parameters = u"to|with properties",
                         .application = true});
        made.addCommand({.name = u"move", .direct = Direct::expression, .parameters = u"to", .application = true});
        return made;
    }();
    return suite;
}

} // namespace ombru::applescript
