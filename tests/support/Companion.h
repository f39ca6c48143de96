// A program that runs beside a test and says when it is ready by writing a line to a descriptor. It ends with this
// object, and with the test program however that ends.
#pragma once
#include <QByteArrayList>

#include <sys/types.h>

namespace ombru::test {

class Companion {
public:
    // "%fd" in the command stands for the descriptor. Aborts the test program, naming the Debian package, when the
    // program does not become ready.
    Companion(const QByteArrayList &command, const char *package);
    ~Companion();
    Companion(const Companion &) = delete;
    Companion &operator=(const Companion &) = delete;

    QByteArray line() const { return m_line; } // what it wrote
    void signal(int number) const;             // SIGSTOP freezes it
    void end(int number);                      // with that signal; waits until it has gone

private:
    pid_t m_pid = 0;
    QByteArray m_line;
};

} // namespace ombru::test
