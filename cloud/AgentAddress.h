// Where the web channel is. Pure.
#pragma once
#include <QUrl>

#include <optional>

namespace ombru {

// The override as it is when it is an address; else "/agent" on the host of the service, with ws for http and wss for
// everything else. None when neither can be read.
std::optional<QUrl> agentAddress(const QString &override, const QString &serverURL);

} // namespace ombru
