#include "osascript/BesidePrompts.h"

#include "applescript/values/Errors.h"
#include "osascript/PromptDoor.h"

namespace ombru {

using namespace Qt::StringLiterals;

Result<std::shared_ptr<const void>> BesidePrompts::keepAway() {
    if (!m_door)
        m_door = PromptDoor::make(m_consent->database());
    auto lock = m_door->keepAway(m_limit->end());
    if (!lock)
        return std::unexpected(Failure{u"desktop"_s, applescript::error::EVENT_FAILED, lock.error().description});
    return std::move(*lock);
}

} // namespace ombru
