// The settings of the service. Each is a member of its own, which says all about it: key, default, range, meaning. Main
// thread.
#pragma once
#include "settings/SettingsStore.h"

#include <sys/types.h>

namespace ombru {

class ServiceSettings : public SettingsStore {
    static bool isPublicURL(const QString &text);
    static constexpr TextRule PUBLIC_URL{
        isPublicURL, u"an http or https address without a path, such as https://ombru.example, or nothing"};

    static bool isInterface(const QString &text);
    static constexpr TextRule INTERFACE{isInterface, u"loopback or any"};

    static bool isNetwork(const QString &text);
    static constexpr TextRule NETWORK{isNetwork,
                                      u"an address or a network, such as 127.0.0.1 or 10.0.0.0/8, or nothing"};

    static bool isDirectory(const QString &text);
    static constexpr TextRule DIRECTORY{isDirectory, u"a path that begins with /, or nothing"};

public:
    using SettingsStore::SettingsStore;

    // The system's, where there is one, for users that are no persons; otherwise ombru-service/ombru-service.conf in
    // the user's configuration directory.
    static QString defaultFile(uid_t user, const QString &ofSystem);

    TextSetting publicURL{*this, u"publicURL", u"",
                          u"address at which browsers reach it; empty: http://localhost and the port", PUBLIC_URL};
    IntegerSetting port{*this, u"port", 8787, {0, 65535}, u"TCP port; 0 for a free one"};
    TextSetting interface{*this, u"interface", u"loopback",
                          u"who reaches the port: loopback, this computer; any, the network too", INTERFACE};
    TextSetting proxy{*this, u"proxy", u"", u"the proxy in front whose word counts for where a request comes from",
                      NETWORK};
    TextSetting dataDirectory{*this, u"dataDirectory", u"",
                              u"where it keeps everything; empty: in the user's data directory", DIRECTORY};
    IntegerSetting historyDays{
        *this, u"historyDays", 90, {1, 36500, u"days"}, u"how long it keeps what computers have told"};
    IntegerSetting picturesKept{
        *this, u"picturesKept", 2000, {0, 1'000'000}, u"how many pictures of a computer it keeps"};
    IntegerSetting megabytesKept{
        *this,
        u"megabytesKept",
        10'000,
        {20, 100'000'000, u"megabytes"},
        u"how much of what computers have told it keeps; past that the one that has most loses "
        u"its oldest"};

    // What does not fit together, each with what to do; for whoever starts it.
    QStringList advice() const;

    // Where it keeps everything; not made yet.
    QString directory() const;
};

// Whether an address is in what NETWORK describes; false for none.
bool isInNetwork(const QString &address, const QString &network);
bool isLoopback(const QString &address);

} // namespace ombru
