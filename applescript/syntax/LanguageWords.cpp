// The words of AppleScript itself: in scope everywhere.
#include "applescript/syntax/Dictionary.h"

namespace ombru::applescript {

void addLanguageWords(Dictionary &dictionary) {
    dictionary.addClasses(u"item|text item|character|word|paragraph|integer|real|number|boolean|list|record|date|file"
                          u"|alias=aliases|POSIX file|application|script|constant|handler|data=data|anything=anything"
                          u"|text=text|type class=type class|styled text=styled text|location specifier|machine");
    dictionary.addSynonyms(
        u"string=text|strings=text|unicode text=text|international text=text|styled clipboard text=text"
        u"|app=application|reference=reference|reference form=reference|files specification=file");
    dictionary.addProperties(
        u"class|id|name|version|contents|length|rest|reverse|quoted form|text item delimiters|weekday|year"
        u"|month|day|time|hours|minutes|seconds|days|weeks|date string|time string|short date string"
        u"|POSIX path|parent|running|frontmost|properties");
    dictionary.addConstants(
        u"missing value|January|February|March|April|May|June|July|August|September|October|November"
        u"|December|Sunday|Monday|Tuesday|Wednesday|Thursday|Friday|Saturday");
    using enum CommandTerm::Direct;
    dictionary.addCommand({.name = u"count", .direct = object, .parameters = u"each"});
    dictionary.addCommand({.name = u"exists", .direct = object});
    dictionary.addCommand({.name = u"get", .direct = expression});
}

} // namespace ombru::applescript
