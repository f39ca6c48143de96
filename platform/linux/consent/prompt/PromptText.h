// What the window that asks for consent says. Values; any thread. All texts are plain and fit to be shown, whatever the
// names in them hold.
#pragma once
#include "platform/linux/applications/Applications.h"

namespace ombru {

struct PromptText {
    QString title;    // of the window
    QString question; // one line: who wants to control what
    QString meaning;  // what allowing it means
    QString later;    // where to change one's mind
    QString client;   // exactly who asks: a full path, or an identifier
    QString application;
    QString icon; // of the application, as its desktop entry has it; empty when it has none
    QString no;   // the button that changes nothing, with its key
    QString yes;
};

// `client` is an application's identifier or a program's full path, `application` an application's identifier.
PromptText promptText(const QString &client, const QString &application, const Applications &installed);

// The same for taking a refusal back.
PromptText forgetText(const QString &client, const QString &application, const Applications &installed);

// A program goes by the name of the application that is nothing but it; one that runs others' files, say an
// interpreter, goes by its own.
QString programName(const QString &path, const Applications &installed);

} // namespace ombru
