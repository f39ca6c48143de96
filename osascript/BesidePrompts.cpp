#include "osascript/BesidePrompts.h"

#include "applescript/values/Errors.h"
#include "platform/linux/consent/PromptLock.h"

namespace ombru {

using namespace Qt::StringLiterals;

Result<std::shared_ptr<const void>> BesidePrompts::keepAway() {
    auto lock = PromptLock::forInput(m_consent->database(), m_limit->end());
    if (!lock)
        return std::unexpected(Failure{u"desktop"_s, applescript::error::EVENT_FAILED, lock.error().description});
    return std::make_shared<const PromptLock>(std::move(*lock));
}

} // namespace ombru
