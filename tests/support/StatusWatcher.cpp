// The watcher of a desktop's status items, as a program of its own that a test may kill.
//
//   status-watcher DESCRIPTOR [host]     writes a line to the descriptor once it has its name on the session bus
//
// With "host" something shows the items.
#include "tests/support/StatusWatcherStandIn.h"

#include <QCoreApplication>

#include <cstdio>
#include <unistd.h>

using namespace ombru::test;

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    if (argc < 2) {
        std::fputs("status-watcher DESCRIPTOR [host]\n", stderr);
        return 2;
    }
    StatusWatcherStandIn watcher(QDBusConnection::sessionBus(), argc > 2);
    if (!watcher.begin() || ::write(atoi(argv[1]), "ready\n", 6) != 6)
        return 1;
    return QCoreApplication::exec();
}
