#include "voice/TextChannel.h"

#include "voice/Inbox.h"
#include "voice/WSConnection.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

std::function<void(const QString &)> answer(const std::weak_ptr<WSConnection> &ws, const QJsonValue &id,
                                            const QString &name) {
    return [ws, id, name](const QString &text) {
        if (const auto connection = ws.lock())
            connection->sendFrame(
                Opcode::text, QJsonDocument(QJsonObject{{u"id"_s, id}, {name, text}}).toJson(QJsonDocument::Compact));
    };
}

} // namespace

void serveTexts(const std::shared_ptr<WSConnection> &ws, Inbox &inbox, std::function<void(TextRequest)> ask) {
    inbox.open({.onText =
                    [weak = std::weak_ptr(ws), ask = std::move(ask)](const QString &message, Inbox::Waiting waiting) {
                        const auto document = QJsonDocument::fromJson(message.toUtf8());
                        if (!document.isObject())
                            return;
                        const auto id = document["id"_L1];
                        const auto text = document["text"_L1].toString();
                        const auto reply = answer(weak, id, u"reply"_s);
                        if (text.isEmpty())
                            return reply(u"The request has no \"text\"."_s);
                        ask({text, document["from"_L1].toString(u"phone"_s), answer(weak, id, u"progress"_s), reply,
                             std::move(waiting)});
                    },
                .onClose = [] {}});
}

} // namespace ombru
