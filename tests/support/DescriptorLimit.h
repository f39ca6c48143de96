// Another limit of the descriptors that this process may have open, for as long as it lives. Main thread.
#pragma once
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace ombru::test {

class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t most) {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit limit{most, m_before.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    }
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &m_before); }
    DescriptorLimit(const DescriptorLimit &) = delete;
    DescriptorLimit &operator=(const DescriptorLimit &) = delete;

    // Those that are open are all that there may be.
    static DescriptorLimit noMore() {
        const int firstFree = ::dup(STDIN_FILENO);
        ::close(firstFree);
        return DescriptorLimit(static_cast<rlim_t>(firstFree));
    }

private:
    rlimit m_before{};
};

} // namespace ombru::test
