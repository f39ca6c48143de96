// This computer under a script: its shell, clock, folders and standard error. One thread.
#pragma once
#include "applescript/host/System.h"

namespace ombru {

class LinuxSystem : public applescript::System {
public:
    Result<applescript::ShellOutcome> shell(const QString &command) override;
    void delay(double seconds) override;
    QDateTime now() override;
    double random() override;
    QString path(applescript::Folder folder) override;
    void log(const QString &line) override;
};

} // namespace ombru
