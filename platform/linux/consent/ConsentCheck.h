// Whether one client may send events to an application, by what the owner has decided or answers now.
// One thread, but not the application's main one: blocks while the owner is asked.
#pragma once
#include "platform/AppleEvents.h"
#include "platform/linux/consent/ConsentPrompt.h"
#include "platform/linux/consent/ConsentRecord.h"

namespace ombru {

// Where the owner's decisions are: in the home of the account, whatever the environment says; in a program that is not
// installed, where one with that environment has them.
QString consentDatabase(const Environment &environment);

class ConsentCheck {
public:
    // `run` runs the program that asks the owner.
    explicit ConsentCheck(ConsentClient client, RunToEnd run = runForOwner);

    // AUTOMATION_ALLOWED, _REFUSED or _UNDECIDED, which is also the answer when the record cannot be read. A client
    // that may not be allowed anything is refused. For an application's identity, see Consent.h. Decisions that others
    // write count at once, and asking again costs microseconds.
    std::int32_t automation(const QString &application, bool ask);

    // Where the decisions are kept.
    QString database() const;

    // Whose wish is carried out.
    const QString &client() const { return m_client.id; }

private:
    ConsentClient m_client;
    RunToEnd m_run;
    ConsentRecord m_record;
};

} // namespace ombru
