#include "tests/support/rehearsed/Conversation.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QUuid>

namespace ombru::rehearsed {
namespace {

using namespace Qt::StringLiterals;

QString fileOf(const QString &directory, const QString &sessionID) {
    return directory + u'/' + sessionID + u".json"_s;
}

std::unexpected<Failure> failed(const QString &what) {
    return std::unexpected(Failure{u"rehearsed"_s, 1, what});
}

} // namespace

QString stateDirectory() {
    if (const auto chosen = qEnvironmentVariable("OMBRU_REHEARSAL_STATE"); !chosen.isEmpty())
        return chosen;
    const auto states = qEnvironmentVariable("XDG_STATE_HOME", QDir::homePath() + u"/.local/state"_s);
    return states + u"/ombru-rehearsed-agent"_s;
}

Conversation newConversation() {
    Conversation conversation;
    conversation.sessionID = QUuid::createUuid().toString(QUuid::WithoutBraces);
    return conversation;
}

Result<Conversation> loadConversation(const QString &directory, const QString &sessionID) {
    if (QUuid::fromString(sessionID).isNull())
        return failed(
            u"Error: --resume requires a valid session ID when used with --print. Provided value \"%1\" is not "
            "a UUID."_s.arg(sessionID));
    QFile file(fileOf(directory, sessionID));
    if (!file.open(QIODevice::ReadOnly))
        return failed(u"No conversation found with session ID: "_s + sessionID);
    const auto object = QJsonDocument::fromJson(file.readAll()).object();
    Conversation conversation;
    conversation.sessionID = sessionID;
    conversation.task = object[u"task"].toString();
    conversation.turn = object[u"turn"].toInt();
    for (const auto &message : object[u"messages"].toArray())
        conversation.messages.append(message.toString());
    if (conversation.turn < 1)
        return failed(file.fileName() + u" is damaged; start a new conversation."_s);
    return conversation;
}

Result<> saveConversation(const QString &directory, const Conversation &conversation) {
    if (!QDir().mkpath(directory))
        return failed(u"cannot make the directory "_s + directory);
    const QJsonObject object{{u"task"_s, conversation.task},
                             {u"turn"_s, conversation.turn},
                             {u"messages"_s, QJsonArray::fromStringList(conversation.messages)}};
    QSaveFile file(fileOf(directory, conversation.sessionID));
    if (!file.open(QIODevice::WriteOnly))
        return failed(u"cannot write %1: %2"_s.arg(file.fileName(), file.errorString()));
    file.write(QJsonDocument(object).toJson());
    if (!file.commit())
        return failed(u"cannot write %1: %2"_s.arg(file.fileName(), file.errorString()));
    return {};
}

} // namespace ombru::rehearsed
