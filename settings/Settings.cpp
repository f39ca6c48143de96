#include "settings/Settings.h"

#include "base/KeyCombination.h"

#include <QStandardPaths>
#include <QUrl>

namespace ombru {

using namespace Qt::StringLiterals;

QString Settings::defaultFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/ombru/ombru.conf"_s;
}

bool Settings::isServiceAddress(const QString &text) {
    const QUrl url(text, QUrl::StrictMode);
    const bool scheme = url.scheme() == "https"_L1 || url.scheme() == "http"_L1;
    const bool bare = !url.hasQuery() && !url.hasFragment() && url.userInfo().isEmpty();
    return url.isValid() && !url.host().isEmpty() && scheme && bare;
}

bool Settings::isChannelAddress(const QString &text) {
    const QUrl url(text, QUrl::StrictMode);
    const bool scheme = url.scheme() == "wss"_L1 || url.scheme() == "ws"_L1;
    return text.isEmpty() || (url.isValid() && !url.host().isEmpty() && scheme);
}

bool Settings::isOrigin(const QString &text) {
    return isServiceAddress(text) && QUrl(text).path().isEmpty();
}

bool Settings::isCallInterface(const QString &text) {
    return text == "loopback"_L1 || text == "any"_L1;
}

bool Settings::isStopKey(const QString &text) {
    return text.isEmpty() || KeyCombination::parsed(text);
}

} // namespace ombru
