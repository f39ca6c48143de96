// System calls that fail, as they do when something has run out, or ahead of which something happens. In a thread of
// its own: what the kernel was told of a thread lasts until that ends; its child processes have it, too.
#pragma once
#include <cstddef>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace ombru::test {

// Has the kernel answer the calls of this thread with these numbers so; gives what seccomp() gives.
inline long answerCalls(std::initializer_list<unsigned> numbers, unsigned answer, unsigned flags) {
    std::vector<sock_filter> program{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const unsigned number : numbers) {
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1));
        program.push_back(BPF_STMT(BPF_RET | BPF_K, answer));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    EXPECT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    return ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &filter);
}

// Does it while the call with that number gives that error.
inline void withoutCall(unsigned number, unsigned error, const std::function<void()> &action) {
    std::jthread([&] {
        ASSERT_EQ(answerCalls({number}, SECCOMP_RET_ERRNO | error, 0), 0);
        action();
    }).join();
}

// Until nobody is left whose calls they are.
inline void observeCalls(int calls, const std::function<void()> &ahead) {
    pollfd wait{calls, POLLIN, 0};
    while (::poll(&wait, 1, -1) >= 0 && (wait.revents & POLLHUP) == 0) {
        seccomp_notif call{};
        if (::ioctl(calls, SECCOMP_IOCTL_NOTIF_RECV, &call) != 0)
            continue;
        ahead();
        seccomp_notif_resp answer{call.id, 0, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE};
        ::ioctl(calls, SECCOMP_IOCTL_NOTIF_SEND, &answer);
    }
    ::close(calls);
}

// Does it, and in this thread something else ahead of each of these calls, also of its child processes', for as long as
// there are any.
inline void aheadOfCalls(std::initializer_list<unsigned> numbers, const std::function<void()> &ahead,
                         const std::function<void()> &action) {
    std::promise<int> calls;
    const std::jthread actor([&] {
        calls.set_value(int(answerCalls(numbers, SECCOMP_RET_USER_NOTIF, SECCOMP_FILTER_FLAG_NEW_LISTENER)));
        action();
    });
    const int listened = calls.get_future().get();
    EXPECT_GE(listened, 0);
    if (listened >= 0)
        observeCalls(listened, ahead);
}

} // namespace ombru::test
