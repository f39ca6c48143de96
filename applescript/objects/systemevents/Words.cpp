// The words of System Events: those of the tables beside this, and those that only let a script compile.
#include "applescript/objects/Window.h"
#include "applescript/objects/systemevents/Process.h"
#include "applescript/objects/systemevents/SystemEvents.h"

namespace ombru::applescript {

namespace {

void addObjects(Dictionary &words) {
    words.addClasses(
        u"process=processes|application process=application processes|UI element|action|attribute"
        u"|browser|busy indicator|button|checkbox=checkboxes|color well|column|combo box=combo boxes|drawer"
        u"|group|grow area|image|incrementor|menu|menu bar|menu bar item|menu button|menu item|outline"
        u"|pop over|pop up button|progress indicator|radio button|radio group|relevance indicator|row"
        u"|scroll area|scroll bar|sheet|slider|splitter|splitter group|static text=static texts"
        u"|tab group|table|text area|text field|tool bar|toolbar|value indicator|cell|desktop|folder|disk");
    words.addSynonyms(u"check box=checkbox|check boxes=checkbox");
    addWords(words, SystemEvents::table());
    addWords(words, Process::table());
    addWords(words, Window::table());
    words.addProperties(u"file type|has scripting terminology|accessibility description|enabled|entire contents|help"
                        u"|maximum value|minimum value|orientation|role description|selected|settable|value"
                        u"|application file|architecture|partition space size|total partition size");
    words.addConstants(u"command down|shift down|option down|control down|caps lock down");
}

} // namespace

const Dictionary &systemEventsWords() {
    static const Dictionary dictionary = [] {
        Dictionary made;
        addObjects(made);
        addWords(made, SystemEvents::commands());
        return made;
    }();
    return dictionary;
}

} // namespace ombru::applescript
