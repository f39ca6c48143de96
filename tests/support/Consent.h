// The owner's decisions, for tests: written into a private data directory, never into the owner's own.
#pragma once
#include "tests/support/Record.h"
#include "tests/support/Variable.h"

#include <QCoreApplication>
#include <QStringList>

#include <gtest/gtest.h>

namespace ombru::test {

inline Result<> decideConsent(const QString &client, const QString &application, bool allowed) {
    return writeDecision(client, application, allowed);
}

inline Result<> takeBack(const QString &client, const QString &application) {
    return writeDecision(client, application, std::nullopt);
}

inline void decide(const QString &dataHome, const QString &client, const QStringList &applications, bool allowed) {
    const Variable data("XDG_DATA_HOME", dataHome.toUtf8());
    for (const QString &application : applications) {
        const auto done = decideConsent(client, application, allowed);
        ASSERT_TRUE(done) << done.error().description.toStdString();
    }
}

// Scripts that `client` has run may send events to these applications.
inline void allow(const QString &dataHome, const QStringList &applications, const QString &client) {
    decide(dataHome, client, applications, true);
}

// The same for scripts that this test starts itself.
inline void allow(const QString &dataHome, const QStringList &applications) {
    allow(dataHome, applications, QCoreApplication::applicationFilePath());
}

} // namespace ombru::test
