// Programs that a bench starts and watches while they have nothing to do, and what that costs. Main thread, with an
// application running.
#pragma once
#include "bench/Race.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QStringList>

#include <chrono>
#include <map>
#include <thread>

namespace ombru::bench {

class ServiceProcess;

// Ends the program when it never comes.
template <class Condition>
void until(Condition condition, const char *what) {
    constexpr int PATIENCE = 30'000; // milliseconds
    QElapsedTimer elapsed;
    elapsed.start();
    while (!condition()) {
        if (elapsed.hasExpired(PATIENCE))
            fail(std::string("never came: ") + what);
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// Of a process by its number, or of "self".
QStringList children(const QString &process);

// One of the programs beside the bench, from its start; it ends with this object.
class Resting {
public:
    Resting(const char *name, const QString &program, const QStringList &arguments);
    ~Resting();
    Resting(const Resting &) = delete;
    Resting &operator=(const Resting &) = delete;

    double end(); // how many milliseconds that takes

    void begin(); // from now on it counts
    void look();  // threads and children that live shorter than the time between two looks are missed

    struct Cost {
        double memory = 0;            // MB, of the proportional set
        double resident = 0;          // MB, with pages in full that others have, too
        double memoryWithStarted = 0; // the same with all that it has started, at most
        double wakes = 0;             // a second
        double processor = 0;         // seconds an hour
    };
    Cost cost(double seconds) const; // since begin()
    const char *name() const { return m_name; }

private:
    QString id() const { return QString::number(m_process.processId()); }
    qint64 wakes() const; // also of threads that have ended since, as far as they were seen

    const char *m_name;
    QProcess m_process;
    std::map<QString, qint64> m_wakes; // by thread
    qint64 m_before = 0;
    double m_processor = 0;
    double m_most = 0; // MB of its children at once
};

// Has time pass, and looks at all of them meanwhile.
void pass(const QList<Resting *> &all, qint64 milliseconds);

// This home is that of a computer that has signed in to that service before, with the rehearsed agent as its claude.
void signInBefore(const ServiceProcess &service);

} // namespace ombru::bench
