// <xcb/xkb.h>, which is C and has a field named like a keyword.
#pragma once
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wkeyword-macro"
#define explicit explicitActions
#include <xcb/xkb.h>
#undef explicit
#pragma clang diagnostic pop
