// What the rehearsed agent remembers of a conversation from one start of the tool to the next: a JSON file in its state
// directory, named after the session id.
#pragma once
#include "base/Failure.h"

#include <QString>
#include <QStringList>

namespace ombru::rehearsed {

struct Conversation {
    QString sessionID;
    QString task;         // the one being worked on
    int turn = 1;         // of the answer that comes next
    QStringList messages; // all that it was sent, for whoever wants to know
};

// $OMBRU_REHEARSAL_STATE, else a folder of ours below $XDG_STATE_HOME or ~/.local/state.
QString stateDirectory();

Conversation newConversation();
Result<Conversation> loadConversation(const QString &directory, const QString &sessionID);
Result<> saveConversation(const QString &directory, const Conversation &conversation);

} // namespace ombru::rehearsed
