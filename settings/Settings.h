// The owner's settings. Each is a member of its own, which says all about it: key, default, range, meaning. Listed in
// the order in which they stand here. Main thread.
#pragma once
#include "settings/SettingsStore.h"

namespace ombru {

class Settings : public SettingsStore {
    static bool isServiceAddress(const QString &text);
    static constexpr TextRule SERVICE_ADDRESS{isServiceAddress,
                                              u"an address such as https://ombru.example or http://localhost:8787"};

    static bool isChannelAddress(const QString &text);
    static constexpr TextRule CHANNEL_ADDRESS{isChannelAddress,
                                              u"an address such as wss://ombru.example/agent, or nothing"};

    static bool isOrigin(const QString &text);
    static constexpr TextRule ORIGIN{isOrigin,
                                     u"an http or https address without a path, such as https://api.deepgram.com"};

    static bool isCallInterface(const QString &text);
    static constexpr TextRule CALL_INTERFACE{isCallInterface, u"loopback or any"};

    static bool isStopKey(const QString &text);
    static constexpr TextRule STOP_KEY{
        isStopKey, u"Ctrl, Shift, Alt or Super and a key, such as Ctrl+Shift+Escape or Pause, or nothing"};

public:
    using SettingsStore::SettingsStore;

    static QString defaultFile(); // ombru/ombru.conf in the user's configuration directory

    TextSetting serverURL{*this, u"serverURL", u"http://localhost:8787",
                          u"address of the service this computer signs in to", SERVICE_ADDRESS};
    TextSetting agentURL{*this, u"agentURL", u"", u"address of the web channel; empty: on the service's host",
                         CHANNEL_ADDRESS};
    TextSetting certificateAuthority{
        *this, u"certificateAuthority", u"",
        u"file with certificates that are trusted besides the system's, for a service of your own"};
    TextSetting model{*this, u"model", u"", u"model that claude is asked to use; empty for its own default"};
    IntegerSetting maxSteps{*this, u"maxSteps", 15, {1, 1000}, u"most turns the agent may take for one task"};
    RealSetting scriptTimeout{*this, u"scriptTimeout", 60, {0.1, 86400, u"seconds"}, u"how long one script may run"};
    RealSetting settle{*this, u"settle", 1, {0, 60, u"seconds"}, u"pause after a script before the next screenshot"};
    IntegerSetting screenshotDays{
        *this, u"screenshotDays", 7, {0, 36500}, u"days that screenshots are kept; 0: none after the task"};
    IntegerSetting callPort{*this, u"callPort", 8765, {1, 65535}, u"TCP port of the local call server"};
    TextSetting callInterface{*this, u"callInterface", u"loopback",
                              u"who reaches the call server: loopback, this computer; any, the network too",
                              CALL_INTERFACE};
    TextSetting stopKey{*this, u"stopKey", u"Ctrl+Shift+Escape",
                        u"keys that stop the running task, whatever has the focus; empty for none", STOP_KEY};
    TextSetting speechURL{*this, u"speechURL", u"https://api.deepgram.com",
                          u"address of the service that listens and speaks in calls", ORIGIN};
    TextSetting cachedPrompt{*this, u"cachedPrompt", u"", u"last system prompt received from the service"};
    BooleanSetting loginItemDefaulted{*this, u"loginItemDefaulted", false,
                                      u"whether the start at login was set up once; removed by hand, it stays so"};
    BooleanSetting shownMenuBarHint{*this, u"shownMenuBarHint", false,
                                    u"whether the hint of the first start was shown"};
    MapSetting appAutomation{*this,
                             u"appAutomation",
                             u"which applications ombru may control, as last seen",
                             {u"com.apple.finder", {u"granted", u"missing", u"unknown"}}};
};

} // namespace ombru
