// An environment variable with another value, for as long as the object lives.
#pragma once
#include <QByteArray>

#include <optional>

namespace ombru::test {

class Variable {
public:
    Variable(const char *name, const QByteArray &value) : Variable(name) { qputenv(name, value); }
    // Without a value the variable is taken away.
    explicit Variable(const char *name) : m_name(name) {
        if (qEnvironmentVariableIsSet(name))
            m_before = qgetenv(name);
        qunsetenv(name);
    }
    ~Variable() {
        if (m_before)
            qputenv(m_name, *m_before);
        else
            qunsetenv(m_name);
    }
    Variable(const Variable &) = delete;
    Variable &operator=(const Variable &) = delete;

private:
    const char *m_name;
    std::optional<QByteArray> m_before;
};

} // namespace ombru::test
