// The properties of the script's own values: text, lists, records, files, AppleScript itself; a row each.
#pragma once
#include "applescript/values/Value.h"

#include <optional>

namespace ombru::applescript {

class Interpreter;

// `key` is the name in lower case. Nothing when such a value has none of this name.
std::optional<Value> dataProperty(const Value &value, QStringView key, Interpreter &run);

} // namespace ombru::applescript
