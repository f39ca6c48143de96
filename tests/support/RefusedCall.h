// A system call that fails, as it does when something has run out. In a thread of its own: what the kernel was told of
// a thread lasts until that ends; its child processes have it, too.
#pragma once
#include <array>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <thread>

namespace ombru::test {

// Does it while the call with that number gives that error.
inline void withoutCall(unsigned number, unsigned error, const std::function<void()> &action) {
    std::jthread([&] {
        std::array<sock_filter, 4> program{sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                                           sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
                                           sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
                                           sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
        const sock_fprog filter{program.size(), program.data()};
        ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
        ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
        action();
    }).join();
}

} // namespace ombru::test
