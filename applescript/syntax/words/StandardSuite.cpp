// The words every application understands, or at least answers to.
#include "applescript/syntax/Dictionary.h"

namespace ombru::applescript {

const Dictionary &standardSuite() {
    static const Dictionary suite = [] {
        using Direct = CommandTerm::Direct;
        Dictionary made;
        made.addClasses(u"window|document");
        made.addProperties(u"bounds|index|visible|miniaturized|minimized|position|size|title|zoomed");
        made.addConstants(u"yes|no|ask");
        for (const auto *name : {u"reopen", u"delete", u"select"})
            made.addApplicationCommand(name, Direct::expression);
        made.addApplicationCommand(u"open", Direct::expression, u"using|with properties");
        made.addApplicationCommand(u"close", Direct::expression, u"saving in|saving=yes,no,ask");
        made.addApplicationCommand(u"save", Direct::expression, u"in|as");
        made.addApplicationCommand(u"print", Direct::expression, u"with properties");
        made.addApplicationCommand(u"make", Direct::none, u"new|at|with properties|with data");
        made.addApplicationCommand(u"duplicate", Direct::expression, u"to|with properties");
        made.addApplicationCommand(u"move", Direct::expression, u"to");
        return made;
    }();
    return suite;
}

} // namespace ombru::applescript
