// A request to the service, as anybody may send it and the HTTP library takes it apart: the first line of the input is
// its path, the lines up to an empty one are headers, the rest is its body.
#include "fuzz/Fuzz.h"
#include "service/log/Log.h"
#include "service/prompts/Prompts.h"
#include "service/routes/ComputerSettings.h"
#include "service/routes/Router.h"
#include "service/secrets/AccountRules.h"

#include <QJsonDocument>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

Request requestOf(const QByteArray &bytes) {
    Request request;
    const auto head = bytes.first(std::max<qsizetype>(0, bytes.indexOf("\n\n")));
    request.body = bytes.sliced(std::min(bytes.size(), head.size() + 2));
    auto lines = head.split('\n');
    request.path = QString::fromUtf8(lines.takeFirst());
    for (const auto &line : lines) {
        const auto colon = std::max<qsizetype>(0, line.indexOf(':'));
        request.headers.emplace_back(line.first(colon).toLower(), line.sliced(colon + (colon > 0 ? 1 : 0)).trimmed());
    }
    request.peer = u"10.0.0.1"_s;
    return request;
}

void lookAtHead(const Request &request) {
    fuzz::require(!request.cookie("ombru_session").contains(';'));
    fuzz::require(request.bearer().size() <= request.header("authorization").size());
    const auto address = request.forwardedFor();
    fuzz::require(address.isEmpty() == networkOf(address).isEmpty());
    fuzz::require(!request.wantsWebSocket() || !request.header("sec-websocket-key").isEmpty());
    const auto platform = platformOf(request.header("user-agent"));
    fuzz::require(platform == "linux"_L1 || platform == "macos"_L1 || platform == "other"_L1);
    fuzz::require(!logLine(u"request", {{u"path", request.path}, {u"address", address}}).contains(u'\n'));
}

void lookAtPath(const Request &request) {
    for (const auto method : {Method::get, Method::post, Method::put, Method::remove, Method::other}) {
        const auto led = findRoute(method, request.path);
        if (led.route)
            fuzz::require(led.route->method == method && (led.route->path.endsWith(u"**") || !led.id.contains(u'/')));
        fuzz::require(led.route || led.id.isEmpty());
    }
}

void lookAtBody(const Request &request) {
    const auto document = QJsonDocument::fromJson(request.body);
    const auto body = document.object();
    if (const auto values = settingsFrom(body))
        for (const auto &[field, text] : *values)
            fuzz::require(text.size() <= request.body.size() + 3); // "off" for "false"
    if (const auto email = body["email"_L1].toString(); !unfitAddress(email))
        fuzz::require(email.contains(u'@') && email.size() <= 254);
    fuzz::require(plainCode(plainCode(body["code"_L1].toString())) == plainCode(body["code"_L1].toString()));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const auto request = requestOf({reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)});
    lookAtHead(request);
    lookAtPath(request);
    lookAtBody(request);
    return 0;
}
