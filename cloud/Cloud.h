// The requests to the service. Each has a limit of 60 seconds and ends early with a stop; what goes wrong on the way is
// a Failure of domain "cloud" with the system's words. Main thread; the waiting is done elsewhere.
//
// Not by Qt, which rewrites paths that begin with two slashes. Proxies are those of the environment.
#pragma once
#include "base/Task.h"
#include "cloud/CloudConfig.h"

namespace ombru {

class Cloud {
public:
    struct Options {
        QByteArray userAgent;   // "ombru/VERSION (OS; architecture)"
        QString authority = {}; // a file with certificates that are trusted besides the system's; empty for none
    };
    static QByteArray userAgent(); // of this program on this computer

    explicit Cloud(Options options) : m_options(std::move(options)) {}

    // Posts the object to base + path. Whatever the reply's status is, its JSON object counts; empty for other JSON.
    Task<Result<QJsonObject>> post(QString base, QString path, QJsonObject body, std::stop_token stop) const;

    // None when the service does not take the token any more (401). Any other reply with a JSON object is a record.
    Task<Result<std::optional<CloudConfig>>> config(QString base, QString token, std::stop_token stop) const;

private:
    Options m_options;
};

} // namespace ombru
