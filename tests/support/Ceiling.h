// No file of this process can be larger, as long as one lives: what is written past that fails, as on a full disk.
#pragma once
#include <csignal>
#include <cstdint>
#include <sys/resource.h>

namespace ombru::test {

class Ceiling {
public:
    explicit Ceiling(std::int64_t bytes) : m_signal(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{static_cast<rlim_t>(bytes), m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~Ceiling() {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_signal);
    }
    Ceiling(const Ceiling &) = delete;
    Ceiling &operator=(const Ceiling &) = delete;

private:
    rlimit m_before{};
    void (*m_signal)(int);
};

} // namespace ombru::test
