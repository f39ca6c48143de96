// The dictionaries of applications.
#pragma once
#include "applescript/syntax/Dictionary.h"

namespace ombru::applescript {

const Dictionary &standardSuite();          // what every application understands
const Dictionary &systemEventsDictionary(); // processes, windows, keys and clicks
const Dictionary &commonWords();            // what scripts say to applications of unknown dictionary

} // namespace ombru::applescript
