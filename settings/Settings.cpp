#include "settings/Settings.h"

#include <QStandardPaths>
#include <QUrl>

namespace ombru {

using namespace Qt::StringLiterals;

QString Settings::defaultFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/ombru/ombru.conf"_s;
}

bool Settings::isOrigin(const QString &text) {
    const QUrl url(text, QUrl::StrictMode);
    const bool local = url.host() == "localhost"_L1 || url.host() == "127.0.0.1"_L1 || url.host() == "::1"_L1;
    const bool scheme = url.scheme() == "https"_L1 || (url.scheme() == "http"_L1 && local);
    const bool bare = (url.path().isEmpty() || url.path() == "/"_L1) && !url.hasQuery() && !url.hasFragment();
    return url.isValid() && !url.host().isEmpty() && scheme && bare && url.userInfo().isEmpty();
}

} // namespace ombru
