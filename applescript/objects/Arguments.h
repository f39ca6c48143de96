// What commands and writers of objects take: lists, points.
#pragma once
#include "applescript/run/Context.h"

#include <QPoint>

namespace ombru::applescript {

std::vector<Value> itemsOf(const Value &value); // of a list; any other value alone

QPoint pointOf(const Value &value, Context &context); // {x, y}

} // namespace ombru::applescript
