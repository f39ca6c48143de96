// The words of System Events: processes with their windows and what is in them, keys and clicks.
#include "applescript/syntax/Words.h"

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
    words.addCommand(
        {.name = u"keystroke", .direct = Direct::expression, .parameters = MODIFIERS, .application = true});
    words.addCommand({.name = u"key code", .direct = Direct::expression, .parameters = MODIFIERS, .application = true});
    words.addCommand({.name = u"key down", .direct = Direct::expression, .directConstants = KEYS, .application = true});
    words.addCommand({.name = u"key up", .direct = Direct::expression, .directConstants = KEYS, .application = true});
    const QString at = QStringLiteral("at|") + MODIFIERS.toString();
    words.addCommand({.name = u"click", .direct = Direct::object, .parameters = at, .application = true});
    words.addCommand({.name = u"double click", .direct = Direct::object, .parameters = at, .application = true});
    words.addCommand({.name = u"right click", .direct = Direct::object, .parameters = at, .application = true});
    words.addCommand({.name = u"perform", .direct = Direct::object, .application = true});
    words.addCommand({.name = u"cancel", .direct = Direct::object, .application = true});
    words.addCommand({.name = u"confirm", .direct = Direct::object, .application = true});
    words.addCommand({.name = u"increment", .direct = Direct::object, .application = true});
    words.addCommand({.name = u"decrement", .direct = Direct::object, .application = true});
    words.addCommand({.name = u"pick", .direct = Direct::object, .application = true});
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
