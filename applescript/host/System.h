// The computer under a script: its shell, clock, folders and standard error.
#pragma once
#include "base/Failure.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

namespace ombru::applescript {

struct ShellOutcome {
    int status = 0; // exit status; 128 + signal when a signal ended the shell
    QByteArray out;
    QByteArray err;
};

enum class Folder {
    home,
    desktop,
    documents,
    downloads,
    music,
    pictures,
    movies,
    temporary,
    applications,
    preferences
};

class System {
public:
    virtual ~System() = default;

    virtual Result<ShellOutcome> shell(const QString &command) = 0; // /bin/sh -c; null standard input
    virtual void delay(double seconds) = 0;
    virtual QDateTime now() = 0;
    virtual double random() = 0;               // 0 <= x < 1
    virtual QString path(Folder folder) = 0;   // POSIX path without a "/" at the end
    virtual void log(const QString &line) = 0; // one line to standard error, at once
};

} // namespace ombru::applescript
