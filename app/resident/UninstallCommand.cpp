// `ombru uninstall`: how to remove the program, and what it keeps about its owner.

#include "app/cli/CommandLine.h"
#include "app/cli/CommandLoop.h"
#include "app/cli/Terminal.h"
#include "app/control/ControlPlace.h"
#include "app/resident/OneInstance.h"
#include "app/resident/OwnerData.h"
#include "base/Background.h"
#include "platform/PeerProcess.h"
#include "platform/SecretStore.h"

#include <iostream>
#include <string>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int STOPPED = 130;
constexpr auto ANSWERING = std::chrono::hours(24);

const QString REMOVAL = u"To remove the program: `sudo apt remove ombru`"_s;

int refuse(const QString &why) {
    qCritical("%s", qUtf8Printable(why));
    return 1;
}

bool isYes() {
    std::string line;
    return std::getline(std::cin, line) && line == "yes";
}

class Purge {
public:
    Task<int> run();
    void interrupt() { m_stop.request_stop(); }

private:
    Task<bool> asked();
    Task<int> removeAll();

    Terminal m_terminal;
    std::vector<OwnerData> m_data = ownerData();
    bool m_hasSecrets = false;
    std::stop_source m_stop;
};

Task<int> Purge::run() {
    const auto secrets = co_await backgroundWithin(ANSWERING, m_stop.get_token(), hasSecrets);
    m_hasSecrets = secrets.value_or(false);
    if (m_data.empty() && !m_hasSecrets) {
        m_terminal.print(u"ombru keeps nothing about you on this computer. "_s + REMOVAL);
        co_return 0;
    }
    const bool wanted = co_await asked();
    if (m_stop.stop_requested())
        co_return STOPPED;
    if (!wanted)
        co_return refuse(u"Nothing was removed."_s);
    co_return co_await removeAll();
}

Task<bool> Purge::asked() {
    m_terminal.print(u"This removes what ombru keeps about you on this computer:"_s, Colour::bold);
    for (const auto &data : m_data)
        m_terminal.print(u"  %1 (%2)"_s.arg(data.path, data.meaning));
    if (m_hasSecrets)
        m_terminal.print(u"  the sign-in, in the desktop's store for secrets"_s);
    m_terminal.print(
        u"What the system's journal has noted stays, and so does what the service knows of your account."_s);
    m_terminal.print(u"Type \"yes\" if you want that:"_s);
    const auto answer = co_await backgroundWithin(ANSWERING, m_stop.get_token(), isYes);
    co_return answer.value_or(false);
}

Task<int> Purge::removeAll() {
    int status = 0;
    if (m_hasSecrets && !(co_await backgroundWithin(ANSWERING, m_stop.get_token(), forgetSecrets)).value_or(false))
        status = refuse(u"The desktop's store for secrets keeps the sign-in: unlock it, then try again."_s);
    for (const auto &data : m_data) {
        if (const auto removed = remove(data); !removed)
            status = refuse(removed.error().description);
    }
    if (status == 0)
        m_terminal.print(u"Removed. "_s + REMOVAL);
    co_return status;
}

int purge() {
    if (servesAScript())
        return refuse(u"A script cannot remove what you have decided; only you can, outside of it."_s);
    if (::isatty(STDIN_FILENO) == 0)
        return refuse(u"`ombru uninstall --purge-data` asks first: type it in a terminal."_s);
    const auto socket = controlSocket();
    const auto alone = socket ? lockInstance(*socket) : std::unexpected(socket.error());
    if (!alone)
        return refuse(alone.error().description);
    if (!*alone)
        return refuse(u"ombru is running. End it first: by Quit in the panel of its icon, by Ctrl-C where `ombru "
                      "--headless` was started, or by `systemctl --user stop ombru.service`."_s);
    Purge command;
    return runLoop(command);
}

} // namespace

int runCommand(UninstallOptions options) {
    if (options.purgeData)
        return purge();
    Terminal terminal;
    terminal.print(REMOVAL);
    terminal.print(
        u"What it keeps about you stays then. To see and remove that first: `ombru uninstall --purge-data`"_s);
    return 0;
}

} // namespace ombru
