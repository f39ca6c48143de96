// Asks the application that runs already to show itself, and hears why it does not. Main thread.
#pragma once
#include "app/cli/CommandLine.h"
#include "app/cli/Door.h"

namespace ombru {

class Knock final : private Output {
public:
    Knock(std::unique_ptr<Door> door, const PanelOptions &options);

    Task<int> run(); // 0 when it does
    void interrupt() { m_door->cancel(); }

    const QString &complaint() const { return m_complaint; }

private:
    void print(const QString &, Colour) override {}
    void printRaw(const QByteArray &) override {}
    void showLive(const QString &) override {}
    void complain(const QString &text) override { m_complaint = text; }
    int statusWhenSeen(int status) const override { return status; }

    std::unique_ptr<Door> m_door;
    PanelOptions m_options;
    QString m_complaint;
};

} // namespace ombru
