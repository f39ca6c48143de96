#include "service/settings/ServiceSettings.h"

#include <QFileInfo>
#include <QHostAddress>
#include <QStandardPaths>
#include <QUrl>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr uid_t FIRST_PERSON = 1000;

std::pair<QHostAddress, int> parsed(const QString &network) {
    constexpr int WHOLE = -1; // of an address alone
    if (network.contains(u'/'))
        return QHostAddress::parseSubnet(network);
    const QHostAddress address(network);
    return {address, address.isNull() ? WHOLE : address.protocol() == QAbstractSocket::IPv4Protocol ? 32 : 128};
}

} // namespace

QString ServiceSettings::defaultFile(uid_t user, const QString &ofSystem) {
    if (user < FIRST_PERSON && QFileInfo::exists(ofSystem))
        return ofSystem;
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           u"/ombru-service/ombru-service.conf"_s;
}

QString ServiceSettings::directory() const {
    const auto given = dataDirectory();
    return given.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/ombru-service"_s
                           : given;
}

QStringList ServiceSettings::advice() const {
    QStringList lines;
    if (interface() == "any"_L1 && publicURL().isEmpty())
        lines +=
            u"Pages in browsers of other computers are refused until it is said at which address they find it: "
            "`ombru-service settings publicURL http://NAME:%1`. Over http others can read passwords on the way."_s.arg(
                port());
    if (QUrl(publicURL()).scheme() == "https"_L1 && proxy().isEmpty())
        lines += u"Whoever comes through the proxy counts as one, and shares its limits, until its address is named: "
                 "`ombru-service settings proxy 127.0.0.1`."_s;
    return lines;
}

bool ServiceSettings::isPublicURL(const QString &text) {
    if (text.isEmpty())
        return true;
    const QUrl url(text, QUrl::StrictMode);
    const bool scheme = url.scheme() == "https"_L1 || url.scheme() == "http"_L1;
    return url.isValid() && scheme && !url.host().isEmpty() && url.path().isEmpty() && !url.hasQuery() &&
           !url.hasFragment() && url.userInfo().isEmpty();
}

bool ServiceSettings::isInterface(const QString &text) {
    return text == "loopback"_L1 || text == "any"_L1;
}

bool ServiceSettings::isNetwork(const QString &text) {
    return text.isEmpty() || parsed(text).second >= 0;
}

bool ServiceSettings::isDirectory(const QString &text) {
    return text.isEmpty() || text.startsWith(u'/');
}

bool isInNetwork(const QString &address, const QString &network) {
    const auto subnet = parsed(network);
    return !network.isEmpty() && subnet.second >= 0 && QHostAddress(address).isInSubnet(subnet);
}

bool isLoopback(const QString &address) {
    return QHostAddress(address).isLoopback();
}

} // namespace ombru
