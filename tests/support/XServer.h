// An X server of a test's own, without a monitor, ended with the object. While it lives DISPLAY names it.
#pragma once
#include "tests/support/Companion.h"
#include "tests/support/Variable.h"

namespace ombru::test {

class XServer {
public:
    // `screen` is "WIDTHxHEIGHTxDEPTH".
    explicit XServer(const QByteArray &screen, const QByteArrayList &arguments = {})
        : m_server(QByteArrayList{"Xvfb", "-displayfd", "%fd", "-screen", "0", screen, "-nolisten", "tcp", "-noreset"} +
                       arguments,
                   "xvfb"),
          m_display("DISPLAY", ":" + m_server.line()) {}

    void signal(int number) const { m_server.signal(number); }
    void end(int number) { m_server.end(number); }

private:
    Companion m_server;
    Variable m_display;
};

} // namespace ombru::test
