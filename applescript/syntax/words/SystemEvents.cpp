// The words of System Events: processes with their windows and what is in them, keys and clicks.
#include "applescript/syntax/Dictionary.h"

namespace ombru::applescript {

namespace {

using Direct = CommandTerm::Direct;

void addObjects(Dictionary &words) {
    words.addClasses(
        u"process=processes|application process=application processes|UI element|action|attribute"
        u"|browser|busy indicator|button|checkbox=checkboxes|color well|column|combo box=combo boxes|drawer"
        u"|group|grow area|image|incrementor|menu|menu bar|menu bar item|menu button|menu item|outline"
        u"|pop over|pop up button|progress indicator|radio button|radio group|relevance indicator|row"
        u"|scroll area|scroll bar|sheet|slider|splitter|splitter group|static text=static texts"
        u"|tab group|table|text area|text field|tool bar|toolbar|value indicator|cell|desktop|folder|disk");
    words.addSynonyms(u"check box=checkbox|check boxes=checkbox");
    words.addProperties(
        u"unix id|bundle identifier|background only|displayed name|short name|file type|has scripting terminology"
        u"|accessibility description|description|enabled|entire contents|focused|help|maximum value|minimum value"
        u"|orientation|role|role description|selected|settable|subrole|value|UI elements enabled"
        u"|application file|architecture|partition space size|total partition size");
    words.addConstants(u"command down|shift down|option down|control down|caps lock down");
}

void addInput(Dictionary &words) {
    constexpr QStringView MODIFIERS =
        u"using=command down,shift down,option down,control down,command,shift,option,control";
    constexpr QStringView KEYS = u"command|shift|option|control";
    words.addApplicationCommand(u"keystroke", Direct::expression, MODIFIERS);
    words.addApplicationCommand(u"key code", Direct::expression, MODIFIERS);
    words.addApplicationCommand(u"key down", Direct::expression, u"", u"", KEYS);
    words.addApplicationCommand(u"key up", Direct::expression, u"", u"", KEYS);
    const QString at = QStringLiteral("at|") + MODIFIERS.toString();
    words.addApplicationCommand(u"click", Direct::object, at);
    words.addApplicationCommand(u"double click", Direct::object, at);
    words.addApplicationCommand(u"right click", Direct::object, at);
    words.addApplicationCommand(u"perform", Direct::object);
    words.addApplicationCommand(u"cancel", Direct::object);
    words.addApplicationCommand(u"confirm", Direct::object);
    words.addApplicationCommand(u"increment", Direct::object);
    words.addApplicationCommand(u"decrement", Direct::object);
    words.addApplicationCommand(u"pick", Direct::object);
}

} // namespace

const Dictionary &systemEventsDictionary() {
    static const Dictionary dictionary = [] {
        Dictionary made;
        addObjects(made);
        addInput(made);
        return made;
    }();
    return dictionary;
}

} // namespace ombru::applescript
