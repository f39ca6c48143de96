// The style sheets of our windows. Pure.
#pragma once
#include "look/Colours.h"

#include <QString>

namespace ombru {

// Texts and buttons, as in every window of ours. A button's property "weight" is "main" or "halt"; a default one is
// main.
QString sharedStyle(const Colours &colours);

// What an ordinary window has besides: its surface, lists, tables. A label is quiet that has a property "quiet".
QString windowStyle(const Colours &colours);

} // namespace ombru
