// An X server of a test's own, without a monitor, ended with the object. While it lives DISPLAY names it.
#pragma once
#include <QByteArray>

#include <sys/types.h>

namespace ombru::test {

class XServer {
public:
    // `screen` is "WIDTHxHEIGHTxDEPTH". Aborts the test program when the server does not start.
    explicit XServer(const QByteArray &screen, const QByteArrayList &arguments = {});
    ~XServer();
    XServer(const XServer &) = delete;
    XServer &operator=(const XServer &) = delete;

    void signal(int number) const; // SIGSTOP freezes it
    void end(int number);          // with that signal; waits until it has gone

private:
    pid_t m_pid = 0;
    QByteArray m_display; // DISPLAY before
};

} // namespace ombru::test
