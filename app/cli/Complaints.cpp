#include "app/cli/Complaints.h"

#include "app/cli/Interrupt.h"
#include "app/cli/Suspension.h"

#include <QString>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace ombru {

namespace {

constexpr int GLANCE_MILLISECONDS = 100;
constexpr int LAST_GLANCES = 5; // once the owner has wanted an end

// False when nobody takes what is there already, and the owner wants an end.
bool waitForReader() {
    pollfd errors{STDERR_FILENO, POLLOUT, 0};
    for (int glances = LAST_GLANCES; ::poll(&errors, 1, GLANCE_MILLISECONDS) <= 0;) {
        if (Interrupt::wasWanted() && --glances == 0)
            return false;
        Suspension::takePlace();
    }
    return true;
}

void write(QtMsgType type, const QMessageLogContext &context, const QString &message) {
    const auto line = qFormatLogMessage(type, context, message);
    if (line.isNull()) // of those that nobody wants to hear
        return;
    const auto bytes = line.toUtf8() + '\n';
    for (qsizetype written = 0; written < bytes.size() && waitForReader();) {
        const auto piece = std::min<qsizetype>(bytes.size() - written, PIPE_BUF);
        const auto count = ::write(STDERR_FILENO, bytes.data() + written, std::size_t(piece));
        if (count < 0 && errno != EINTR && errno != EAGAIN)
            return;
        written += std::max<ssize_t>(count, 0);
    }
}

} // namespace

void complainPatiently() {
    qInstallMessageHandler(write);
}

} // namespace ombru
