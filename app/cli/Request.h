// What a command asks the application for, as it passes the door. Pure.
#pragma once
#include "app/cli/CommandLine.h"

#include <QJsonObject>

namespace ombru {

struct CallAccessOptions {}; // where a call may be placed, and with which token; of ombru-call

using AppRequest =
    std::variant<RunOptions, StatusOptions, TestClaudeOptions, SignInOptions, SignOutOptions, StopOptions,
                 NewSessionOptions, ShareAudioOptions, LogOptions, CallAccessOptions, PanelOptions>;

QJsonObject request(const AppRequest &options);
std::optional<AppRequest> requested(const QJsonObject &object); // none for what is no request

} // namespace ombru
