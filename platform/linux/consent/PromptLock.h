// Keeps the owner's answers the owner's: no script's keys and clicks reach a prompt, because none are made while one is
// open, and none opens in the middle of some. Both sides lock one file, `prompt.lock` beside the consent database; the
// system releases it when its holder ends, however that ends. Any thread; waits without limit unless one is given.
//
// A prompt that waits comes before input that begins after it, so that a script which types without a pause cannot keep
// it away. It tells no script from a hand, and is no wall against a program that sends its own keys.
#pragma once
#include "base/Clock.h"
#include "base/Descriptor.h"
#include "base/Failure.h"

#include <optional>

namespace ombru {

class PromptLock {
public:
    // For a prompt: makes the file and its directory, and returns once every earlier prompt and all input has ended.
    // Without it there must be no prompt. A Failure has domain "prompt".
    static Result<PromptLock> forPrompt(const QString &database);

    // For one input operation: returns once no prompt is open. Where nothing can be locked, because nobody may write
    // there or what is there is no file, no prompt can be open either, and input goes on. A Failure has domain
    // "prompt"; then there must be no input, because a prompt may be open. So when one still is at `end`.
    static Result<PromptLock> forInput(const QString &database, const std::optional<Clock::Time> &end = {});

    PromptLock(PromptLock &&) = default;
    PromptLock &operator=(PromptLock &&) = delete;
    ~PromptLock(); // releases

private:
    explicit PromptLock(Descriptor file) : m_file(std::move(file)) {}

    Descriptor m_file;
};

} // namespace ombru
