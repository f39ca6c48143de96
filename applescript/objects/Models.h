// Which words and which model an application has. One that scripts know by its own dictionary is a row; all others
// share theirs.
#pragma once
#include "applescript/objects/ObjectModel.h"

namespace ombru::applescript {

// One that this computer need not have installed: it is always known, and always running.
struct BuiltIn {
    QStringView name;
    QStringView id;
    QStringView version;
    Scope (*words)();
    std::unique_ptr<ObjectModel> (*model)(Context &context, const Application &application);
};

const BuiltIn *builtInNamed(QStringView name);
const BuiltIn *builtInWithId(QStringView id);

// The words that a `tell` brings into scope; no name when it is computed.
Scope wordsOfApplication(const QString *name);

std::unique_ptr<ObjectModel> modelOf(Context &context, const Application &application);

} // namespace ombru::applescript
