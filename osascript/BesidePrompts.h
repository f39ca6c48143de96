// Hands out the facets of the desktop that could answer a prompt, or put a window where a click is about to fall: once
// no prompt is open, and while one is held, none opens, but while the program is stopped. One thread; waits as long as
// the owner takes, within the limit.
#pragma once
#include "applescript/host/Held.h"
#include "osascript/DesktopModule.h"
#include "osascript/ScriptConsent.h"

namespace ombru {

class PromptDoor;

class BesidePrompts {
public:
    BesidePrompts(DesktopModule &module, ScriptConsent &consent, const WaitLimit &limit)
        : m_module(&module), m_consent(&consent), m_limit(&limit) {}

    // hold(&Desktop::input). A Failure when there is no desktop, or a prompt may be open.
    template <class Facet>
    Result<applescript::Held<Facet>> hold(Facet &(Desktop::*facet)()) {
        const auto found = m_module->facet(facet);
        if (!found)
            return std::unexpected(found.error());
        auto noPrompt = keepAway();
        if (!noPrompt)
            return std::unexpected(noPrompt.error());
        return applescript::Held<Facet>(**found, std::move(*noPrompt));
    }

private:
    Result<std::shared_ptr<const void>> keepAway(); // for as long as the value lives

    DesktopModule *m_module;
    ScriptConsent *m_consent;
    const WaitLimit *m_limit;
    std::shared_ptr<PromptDoor> m_door; // shared with what is done around a stop
};

} // namespace ombru
