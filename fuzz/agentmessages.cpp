// Messages, as whoever was let in as a computer may send them: whole, and cut.
#include "wire/AgentMessages.h"

#include "fuzz/Fuzz.h"

#include <QJsonDocument>

using namespace ombru;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    if (const auto message = agentMessage(QJsonDocument::fromJson(bytes.toByteArray()).object()))
        fuzz::require(agentMessage(toJson(*message)) == message);
    if (const auto event = beginningOfEvent(bytes))
        fuzz::require(event->text.size() <= bytes.size());
    return 0;
}
