// An environment variable with another value, for as long as the object lives.
#pragma once
#include <QByteArray>

#include <optional>

namespace ombru::test {

class Environment {
public:
    Environment(const char *name, const QByteArray &value) : Environment(name) { qputenv(name, value); }
    // Without a value the variable is taken away.
    explicit Environment(const char *name) : m_name(name) {
        if (qEnvironmentVariableIsSet(name))
            m_before = qgetenv(name);
        qunsetenv(name);
    }
    ~Environment() {
        if (m_before)
            qputenv(m_name, *m_before);
        else
            qunsetenv(m_name);
    }
    Environment(const Environment &) = delete;
    Environment &operator=(const Environment &) = delete;

private:
    const char *m_name;
    std::optional<QByteArray> m_before;
};

} // namespace ombru::test
