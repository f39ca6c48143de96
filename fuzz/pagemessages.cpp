// What whoever is signed in may say on the socket of the service's page.
#include "fuzz/Fuzz.h"
#include "service/live/PageMessage.h"

using namespace ombru;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto message = pageMessage(bytes);
    fuzz::require(message == pageMessage(bytes));
    if (!message)
        return 0;
    if (const auto *task = std::get_if<TaskRequest>(&*message))
        fuzz::require(task->text.size() <= bytes.size());
    if (const auto *watch = std::get_if<WatchRequest>(&*message))
        fuzz::require(watch->after.value_or(0) >= 0);
    return 0;
}
