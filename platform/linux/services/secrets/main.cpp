// ombru-secrets: asks the desktop's store of secrets one thing, and tells what it says: SecretWire.h. A program of its
// own, so that the libraries that this takes are not in one that runs all day; without a framework, so that it costs
// little. When the one that started it ends, it takes back what the store asks the owner, and ends, too.
#include "base/Lifeline.h"
#include "base/Program.h"
#include "platform/linux/services/SecretWire.h"
#include "platform/linux/services/secrets/Conversation.h"

#include <cstdio>
#include <iostream>
#include <iterator>

namespace {

using namespace ombru::secrets;

constexpr int NOT_UNDERSTOOD = 2;

// None when not all of it has come: whoever sends it has died.
std::optional<std::string> sentValue() {
    std::size_t size = 0;
    if (!(std::cin >> size) || std::cin.get() != '\n')
        return std::nullopt;
    std::string value(std::istreambuf_iterator<char>(std::cin), {});
    return value.size() == size ? std::optional(std::move(value)) : std::nullopt;
}

const char *wordFor(bool is) {
    return is ? YES : NO;
}

std::string aboutTheValue(const Conversation &store) {
    const auto value = store.lookUp();
    return std::string(wordFor(value.has_value())) + '\n' + value.value_or("");
}

std::optional<std::string> answerTo(std::string_view question, const char *key, GCancellable *cancellable) {
    if (question == READY)
        return std::string(YES) + '\n';
    const auto value = question == STORE ? sentValue() : std::nullopt;
    if (question == STORE && !value)
        return std::nullopt;
    const Conversation store(key, cancellable);
    if (question == LOOK_UP)
        return aboutTheValue(store);
    const char *word = nullptr;
    if (question == FIND) {
        const auto found = store.isThere();
        word = found ? wordFor(*found) : UNKNOWN;
    } else if (question == CLEAR) {
        word = wordFor(store.clearUnlocked());
    } else if (question == REMOVE) {
        word = wordFor(store.remove());
    } else if (question == STORE) {
        word = wordFor(store.store(*value));
    }
    return word ? std::optional(std::string(word) + '\n') : std::nullopt;
}

} // namespace

int main(int argc, char **argv) {
    ombru::beginProgram();
    GCancellable *const cancellable = g_cancellable_new();
    if (argc < 2 || !ombru::endWithLifeline([cancellable] { g_cancellable_cancel(cancellable); })) {
        std::fputs("ombru-secrets: for ombru to start, with a lifeline\n", stderr);
        return NOT_UNDERSTOOD;
    }
    const auto answer = answerTo(argv[1], argc > 2 ? argv[2] : nullptr, cancellable);
    if (!answer)
        return NOT_UNDERSTOOD;
    std::fwrite(answer->data(), 1, answer->size(), stdout);
    return ombru::statusWhenPrinted(0);
}
