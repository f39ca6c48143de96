// The words of AppleScript itself and of Standard Additions: in scope everywhere.
#include "applescript/syntax/Dictionary.h"

namespace ombru::applescript {

namespace {

using Direct = CommandTerm::Direct;

void addLanguage(Dictionary &core) {
    core.addClasses(u"item|text item|character|word|paragraph|integer|real|number|boolean|list|record|date|file"
                    u"|alias=aliases|POSIX file|application|script|constant|handler|data=data|anything=anything"
                    u"|text=text|type class=type class|styled text=styled text|location specifier|machine");
    core.addSynonyms(u"string=text|strings=text|unicode text=text|international text=text|styled clipboard text=text"
                     u"|app=application|reference=reference|reference form=reference|files specification=file");
    core.addProperties(
        u"class|id|name|version|contents|length|rest|reverse|quoted form|text item delimiters|weekday|year"
        u"|month|day|time|hours|minutes|seconds|days|weeks|date string|time string|short date string"
        u"|POSIX path|parent|running|frontmost|properties");
    core.addConstants(u"missing value|January|February|March|April|May|June|July|August|September|October|November"
                      u"|December|Sunday|Monday|Tuesday|Wednesday|Thursday|Friday|Saturday");
    core.addCommand(u"log", Direct::expression);
    core.addCommand(u"count", Direct::object, u"each");
    core.addCommand(u"exists", Direct::object);
    core.addCommand(u"get", Direct::expression);
    for (const auto *name : {u"activate", u"launch", u"run"})
        core.addApplicationCommand(name, Direct::expression);
    core.addApplicationCommand(u"quit", Direct::expression, u"saving=yes,no,ask");
}

void addInteraction(Dictionary &core) {
    core.addProperties(u"button returned|text returned|gave up");
    core.addCommand(u"display dialog", Direct::expression,
                    u"default answer|buttons|default button|cancel button|with title|with icon=note,caution,stop"
                    u"|giving up after|hidden answer",
                    u"hidden answer");
    core.addCommand(u"display alert", Direct::expression,
                    u"message|as=critical,warning,informational|buttons|default button|cancel button|giving up after");
    core.addCommand(u"display notification", Direct::expression, u"with title|subtitle|sound name");
    core.addCommand(u"choose from list", Direct::expression,
                    u"with title|with prompt|default items|OK button name|cancel button name",
                    u"multiple selections allowed|empty selection allowed");
    core.addCommand(u"beep", Direct::expression);
    core.addCommand(u"say", Direct::expression, u"using|speaking rate|pitch|volume|saving to",
                    u"waiting until completion|stopping current speech");
}

// Known so that a script compiles and can catch the refusal; running one says that it is not available.
void addRefused(Dictionary &core) {
    core.addCommand(u"choose file", Direct::none, u"with prompt|of type|default location",
                    u"invisibles|multiple selections allowed|showing package contents");
    core.addCommand(u"choose folder", Direct::none, u"with prompt|default location",
                    u"invisibles|multiple selections allowed|showing package contents");
    core.addCommand(u"choose file name", Direct::none, u"with prompt|default name|default location");
    core.addCommand(u"open for access", Direct::expression, u"", u"write permission");
    core.addCommand(u"close access", Direct::expression);
    core.addCommand(u"get eof", Direct::expression);
    core.addCommand(u"read", Direct::expression, u"from|for|to|before|until|using delimiter|using delimiters|as");
    core.addCommand(u"write", Direct::expression, u"to|starting at|for|as");
}

void addSystem(Dictionary &core) {
    core.addCommand(u"do shell script", Direct::expression, u"as|user name|password|with prompt",
                    u"administrator privileges|altering line endings");
    core.addCommand(u"delay", Direct::expression);
    core.addCommand(u"the clipboard", Direct::none, u"as");
    core.addCommand(u"set the clipboard to", Direct::expression);
    core.addCommand(u"open location", Direct::expression, u"", u"error reporting");
    core.addCommand(u"path to", Direct::expression, u"from=user domain,local domain,system domain,network domain|as",
                    u"folder creation",
                    u"home folder|desktop folder|desktop|documents folder|downloads folder|music folder|pictures folder"
                    u"|movies folder|temporary items folder|temporary items|applications folder|preferences folder"
                    u"|preferences|utilities folder|library folder|startup disk|home|documents|downloads");
    core.addCommand(u"run script", Direct::expression, u"with parameters|in");
    core.addCommand(u"current date", Direct::none);
    core.addCommand(u"random number", Direct::expression, u"from|to|with seed");
    core.addCommand(u"round", Direct::expression, u"rounding=up,down,toward zero,to nearest,as taught in school");
    core.addCommand(u"offset", Direct::none, u"of|in");
    core.addCommand(u"ASCII character", Direct::expression);
    core.addCommand(u"ASCII number", Direct::expression);
    core.addCommand(u"system attribute", Direct::expression, u"has");
}

} // namespace

const Dictionary &coreDictionary() {
    static const Dictionary core = [] {
        Dictionary made;
        addLanguage(made);
        addInteraction(made);
        addSystem(made);
        addRefused(made);
        return made;
    }();
    return core;
}

} // namespace ombru::applescript
