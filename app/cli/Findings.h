// What a look at this computer found, as the owner reads it: a mark, a name, what there is, and what to do about it.
// Pure functions, but for print().
#pragma once
#include "agent/Claude.h"
#include "app/cli/Output.h"
#include "permissions/Allowed.h"
#include "permissions/Setup.h"
#include "platform/Diagnosis.h"
#include "platform/StopKey.h"

namespace ombru {

struct Finding {
    Permission::State state = Permission::State::unknown; // granted: as it should be
    QString name;
    QString what;
    QString remedy; // empty where there is nothing to do
};

Finding finding(const QString &name, const Check &check);
Check describe(const KeyCombination &stopKey, const Result<> &usable);
Finding finding(const Claude::State &claude);
Finding finding(const Permission &permission, Permission::State state);
Finding finding(Setup setup);
Finding finding(const AutomationApp &application, Permission::State state);

// What the owner of a setup that is not done has still to decide, and how; empty when nothing.
QString undecidedText(const Allowed &allowed);

QString claudeStateName(const Claude::State &claude); // "unknown", "missing", "outdated", "signedOut" or "ready"

// Each application in a line, and decisions that cannot be read in one.
void printApplications(Output &output, const Allowed &allowed);

// `detail` is a line that says more about the name.
void print(Output &output, const Finding &finding, const QString &detail = {});

} // namespace ombru
