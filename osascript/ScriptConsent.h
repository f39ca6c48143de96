// What the owner lets this script do. Who has it run is found out when that first matters: most scripts never ask.
// One thread; blocks while the owner is asked.
#pragma once
#include "platform/linux/consent/ConsentCheck.h"

namespace ombru {

class ScriptConsent {
public:
    // Whether it may send events to the application; asks the owner where nothing is decided.
    bool allows(const QString &application);

    // Where the decisions are kept.
    QString database();

private:
    ConsentCheck &check();

    std::optional<ConsentCheck> m_check;
};

} // namespace ombru
