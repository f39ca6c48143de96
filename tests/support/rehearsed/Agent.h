// What the rehearsed agent says to a message: the decision, without the performance.
#pragma once
#include "tests/support/rehearsed/Conversation.h"
#include "tests/support/rehearsed/Options.h"
#include "tests/support/rehearsed/Scenario.h"

namespace ombru::rehearsed {

struct Saying {
    QString text;
    Behaviour behaviour;
    bool looked = false; // at the screenshot
};

// Moves the conversation on. Reads the screenshot that the message names.
Saying respond(const Options &options, const QList<Scenario> &scenarios, Conversation &conversation);

} // namespace ombru::rehearsed
