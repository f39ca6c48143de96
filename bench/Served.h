// A WebSocket server that is measured, as a program of its own, and what it uses. It echoes texts on "/", and plays 20
// ms of sound each 20 ms into each call on "/media". Ends with this object.
#pragma once
#include <QProcess>
#include <QStringList>

#include <memory>
#include <vector>

namespace ombru::bench {

struct ServerKind {
    QString name;
    QStringList command; // its first line ends with its port
};

// Ours first, then the least that has to be done, Qt's own, and Node's "ws" where that is there. The speech service is
// for our calls.
std::vector<ServerKind> serverKinds(const QString &speech = {});

class Served {
public:
    explicit Served(const ServerKind &kind);
    ~Served();

    std::uint16_t port() const { return m_port; }
    double processorSeconds() const; // so far
    double memory() const;           // resident, KiB
    double share() const;            // the same, what it has with others divided by how many they are
    void end();                      // as who runs it would

private:
    QProcess m_process;
    std::uint16_t m_port = 0;
};

// As many descriptors as this program may have: each client needs one.
void raiseDescriptorLimit();

} // namespace ombru::bench
