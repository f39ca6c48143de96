// What the owner has to do next before the agent can work, decided from what is known. Pure; any thread.
#pragma once
#include "agent/Claude.h"
#include "permissions/Permission.h"

namespace ombru {

enum class Setup { checking, installClaude, signInClaude, allow, restart, denied, done };

// `states` is by permission and empty before the first look; `askedScreen` whether this process has requested to see
// the screen: a grant after that takes effect in a new process only.
Setup setup(const Claude::State &claude, const PermissionStates &states, bool askedScreen);

// Whether to warn: the tool cannot be used, or something required is not granted. A tool not yet looked at is no
// reason.
bool missingPermissions(const Claude::State &claude, const PermissionStates &states);

QString setupName(Setup setup); // as the code calls it

// What the owner reads; `prompting` while the prompt for one application waits for an answer.
QString setupText(Setup setup, bool prompting);

} // namespace ombru
