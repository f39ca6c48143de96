// Whether ombru can write where it keeps things, each really tried.
#pragma once
#include "platform/Diagnosis.h"

#include <vector>

namespace ombru {

struct PlaceCheck {
    QString name; // "settings", "data", "state" or "runtime"
    Check check;
};

// Blocks while a disk answers; any thread but the main one. Makes none that is missing, but for that of "runtime".
std::vector<PlaceCheck> checkPlaces();

// One directory: itself, or what it would be made in.
Check checkPlace(const QString &directory);

} // namespace ombru
