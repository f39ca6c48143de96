// A machine with other work on it, and times that were measured there. Main thread.
#pragma once
#include "base/Spawn.h"

#include <QThread>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <initializer_list>
#include <vector>

namespace ombru::bench {

// Programs that compute, two for each processor, while it lives.
class Busy {
public:
    Busy() {
        for (int count = 0; count < 2 * QThread::idealThreadCount(); ++count)
            m_programs.push_back(spawn({.program = QStringLiteral("/bin/sh"),
                                        .arguments = {QStringLiteral("-c"), QStringLiteral("while :; do :; done")},
                                        .environment = Environment{}})
                                     .value_or(0));
    }
    ~Busy() {
        for (const pid_t program : m_programs)
            if (program > 0)
                ::kill(program, SIGKILL);
    }
    Busy(const Busy &) = delete;
    Busy &operator=(const Busy &) = delete;

private:
    std::vector<pid_t> m_programs;
};

class Times {
public:
    void add(double time) { m_sorted.insert(std::ranges::upper_bound(m_sorted, time), time); }
    double at(double part) const { return m_sorted[std::size_t(std::ceil(part * double(m_sorted.size()))) - 1]; }

private:
    std::vector<double> m_sorted;
};

// A row of a table: its name, and of each of the times p50, p95 and the longest.
inline void printRow(const char *name, std::initializer_list<const Times *> all) {
    std::printf("| %s |", name);
    for (const auto *times : all)
        std::printf(" %.0f | **%.0f** | %.0f |", times->at(0.5), times->at(0.95), times->at(1));
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace ombru::bench
