// The real keyring daemon on the session bus that the environment names, with a home of its own, ended with the object.
#pragma once
#include "tests/support/Companion.h"

#include <QFile>
#include <QTemporaryDir>

namespace ombru::test {

class Keyring {
public:
    enum class State { unlocked, locked, asking }; // one that asks needs a display of the bus's, too

    // In that home, where a keyring may have been before: it has the same secrets. The first one has to be unlocked.
    explicit Keyring(const QTemporaryDir &home, State state = State::unlocked)
        : m_daemon({"sh", "-c", script(state), QFile::encodeName(home.path())}, "gnome-keyring") {}

    void signal(int number) const { m_daemon.signal(number); }
    void end(int number) { m_daemon.end(number); }

private:
    static QByteArray script(State state) {
        const QByteArray unlock = state == State::unlocked ? " --unlock <$0/password" : "";
        // Without a display nobody is asked for the password.
        const QByteArray display = state == State::asking ? "" : "unset DISPLAY WAYLAND_DISPLAY; ";
        return display +
               "export HOME=$0 XDG_DATA_HOME=$0/share XDG_RUNTIME_DIR=$0/run; "
               "mkdir -p -m 700 $0/share $0/run; printf password >$0/password; "
               "(gdbus wait --session --timeout 50 org.freedesktop.secrets && echo ready >/dev/fd/%fd) & "
               "exec gnome-keyring-daemon --foreground --components=secrets --control-directory=$0/run" +
               unlock;
    }

    Companion m_daemon;
};

} // namespace ombru::test
