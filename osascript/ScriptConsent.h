// What the owner lets this script do. Who has it run is found out when that first matters: most scripts never ask.
// One thread; blocks while the owner is asked.
#pragma once
#include "platform/linux/consent/ConsentCheck.h"
#include "platform/linux/system/WaitLimit.h"

namespace ombru {

// What a script is told when an event may not pass: code -1743 and the name.
Failure notAuthorized(const QString &application);

// What a script is told when it cannot reach an application by another way than events: code -1743, the name, and what
// its author should do about it.
Failure notAllowed(const QString &application);

class ScriptConsent {
public:
    explicit ScriptConsent(const WaitLimit &limit) : m_limit(&limit) {} // which outlives it

    // Whether it may send events to the application; asks the owner where nothing is decided.
    bool allows(const QString &application);

    // What is decided about it; asks nobody.
    std::optional<bool> decision(const QString &application);

    // Where the decisions are kept.
    QString database();

    // The program that has it run, as the record names it.
    const QString &client();

private:
    ConsentCheck &check();

    const WaitLimit *m_limit;
    std::optional<ConsentCheck> m_check;
};

} // namespace ombru
