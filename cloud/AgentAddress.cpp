#include "cloud/AgentAddress.h"

namespace ombru {

using namespace Qt::StringLiterals;

std::optional<QUrl> agentAddress(const QString &override, const QString &serverURL) {
    const QUrl given(override, QUrl::StrictMode);
    if (given.isValid())
        return given;
    QUrl url(serverURL, QUrl::StrictMode);
    if (!url.isValid())
        return std::nullopt;
    url.setScheme(url.scheme() == "http"_L1 ? u"ws"_s : u"wss"_s);
    url.setPath(u"/agent"_s);
    return url;
}

} // namespace ombru
