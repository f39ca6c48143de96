#include "platform/DesktopLock.h"

#include "tests/support/Processes.h"
#include "tests/support/Variable.h"
#include "tests/support/XServer.h"

#include <QTemporaryDir>

#include <algorithm>
#include <array>
#include <barrier>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

using Held = std::optional<DesktopLock>;

Held lock() {
    auto locked = lockDesktop();
    EXPECT_TRUE(locked) << locked.error().description.toStdString();
    return locked ? *locked : std::nullopt;
}

// Another process that took the lock, or found it taken.
class Neighbour {
public:
    Neighbour() {
        int pipe[2];
        EXPECT_EQ(::pipe(pipe), 0);
        m_pid = ::fork();
        if (m_pid == 0) {
            const auto held = lockDesktop();
            const char answer = held && *held ? 'y' : 'n';
            if (::write(pipe[1], &answer, 1) == 1)
                ::pause();
            ::_exit(0);
        }
        ::close(pipe[1]);
        EXPECT_EQ(::read(pipe[0], &m_answer, 1), 1);
        ::close(pipe[0]);
    }
    ~Neighbour() { kill(); }

    bool hasIt() const { return m_answer == 'y'; }
    void kill() {
        if (m_pid <= 0)
            return;
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }

private:
    pid_t m_pid = -1;
    char m_answer = 0;
};

} // namespace

TEST(DesktopLock, IsHadByOneAtATime) {
    const XServer server("640x480x24");
    Held one = lock();
    EXPECT_TRUE(one);
    EXPECT_FALSE(lock());
    one.reset();
    EXPECT_TRUE(lock());
}

TEST(DesktopLock, IsFreeForWhoeverAsksAfterItsRelease) {
    const XServer server("640x480x24");
    for (int i = 0; i < 200; ++i)
        ASSERT_TRUE(lock()) << i;
}

TEST(DesktopLock, OfManyWhoAskAtOnceOneHasIt) {
    const XServer server("640x480x24");
    for (int round = 0; round < 30; ++round) {
        std::array<Held, 8> held;
        std::barrier start(held.size());
        {
            std::vector<std::jthread> asking;
            for (auto &mine : held)
                asking.emplace_back([&] {
                    start.arrive_and_wait();
                    mine = lock();
                });
        }
        ASSERT_EQ(std::ranges::count_if(held, &Held::has_value), 1) << round;
    }
}

TEST(DesktopLock, IsHeldUntilItsLastCopyIsDropped) {
    const XServer server("640x480x24");
    Held one = lock();
    const Held copy = one;
    one.reset();
    EXPECT_FALSE(lock());
}

TEST(DesktopLock, BelongsToTheDisplayWhateverItIsCalled) {
    const XServer server("640x480x24");
    const auto name = qgetenv("DISPLAY");
    const Held held = lock();
    for (const auto &other : {"unix" + name, name + ".0", "unix" + name + ".0"}) {
        const Variable renamed("DISPLAY", other);
        EXPECT_FALSE(lock()) << other.toStdString();
    }
}

TEST(DesktopLock, ADisplayHasOneNameWhateverItIsCalled) {
    const Variable wayland("WAYLAND_DISPLAY");
    for (const auto *name : {":7", ":7.0", "unix:7", "unix:7.1", "host/unix:7"}) {
        const Variable display("DISPLAY", name);
        EXPECT_EQ(desktopName(), u":7"_s) << name;
    }
    const Variable display("DISPLAY", "host:7.0");
    EXPECT_EQ(desktopName(), u"host:7"_s) << "another computer's";
    qunsetenv("DISPLAY");
    EXPECT_EQ(desktopName(), QString());
}

TEST(DesktopLock, DisplaysDoNotShareIt) {
    const XServer one("640x480x24");
    const Held held = lock();
    const XServer other("640x480x24");
    EXPECT_TRUE(lock());
}

TEST(DesktopLock, BelongsToTheDisplayWhateverTheRuntimeDirectory) {
    const XServer server("640x480x24");
    const QTemporaryDir here;
    const QTemporaryDir there;
    const Variable runtime("XDG_RUNTIME_DIR", here.path().toUtf8());
    const Held held = lock();
    const Variable other("XDG_RUNTIME_DIR", there.path().toUtf8());
    EXPECT_FALSE(Neighbour().hasIt());
    qunsetenv("XDG_RUNTIME_DIR");
    EXPECT_FALSE(Neighbour().hasIt());
    qputenv("XDG_RUNTIME_DIR", "/nonexistent");
    EXPECT_FALSE(Neighbour().hasIt());
}

TEST(DesktopLock, GoesWithAProcessThatIsKilled) {
    const XServer server("640x480x24");
    Neighbour neighbour;
    EXPECT_TRUE(neighbour.hasIt());
    EXPECT_FALSE(lock());
    neighbour.kill();
    EXPECT_TRUE(waitUntil([] { return lock().has_value(); }));
}

TEST(DesktopLock, IsHadAtOnceWhereThereIsNoDisplay) {
    const Variable none("DISPLAY");
    const Variable noCompositor("WAYLAND_DISPLAY");
    const Held one = lock();
    EXPECT_TRUE(one);
    EXPECT_TRUE(lock());
    const Variable gone("WAYLAND_DISPLAY", "/nonexistent/wayland-0");
    EXPECT_TRUE(lock());
}

// --- A Wayland session without an X server

namespace {

class DesktopLockWithoutX : public testing::Test {
protected:
    DesktopLockWithoutX() {
        EXPECT_TRUE(QFile(m_runtime.filePath(u"wayland-0"_s)).open(QFile::WriteOnly)); // stands for the socket
    }

    QTemporaryDir m_runtime;
    Variable m_display{"DISPLAY"};
    Variable m_directory{"XDG_RUNTIME_DIR", m_runtime.path().toUtf8()};
    Variable m_wayland{"WAYLAND_DISPLAY", "wayland-0"};
};

} // namespace

TEST_F(DesktopLockWithoutX, IsHadByOneAtATime) {
    Held one = lock();
    EXPECT_TRUE(one);
    EXPECT_FALSE(lock());
    EXPECT_FALSE(Neighbour().hasIt());
    one.reset();
    EXPECT_TRUE(lock());
}

TEST_F(DesktopLockWithoutX, BelongsToTheCompositorWhateverItsSocketIsCalled) {
    const Held held = lock();
    const QTemporaryDir elsewhere;
    ASSERT_TRUE(QFile::link(m_runtime.filePath(u"wayland-0"_s), elsewhere.filePath(u"wayland-7"_s)));
    const Variable directory("XDG_RUNTIME_DIR", elsewhere.path().toUtf8());
    const Variable linked("WAYLAND_DISPLAY", "wayland-7");
    EXPECT_FALSE(lock());
    const Variable whole("WAYLAND_DISPLAY", m_runtime.filePath(u"wayland-0"_s).toUtf8());
    EXPECT_FALSE(lock());
}

TEST_F(DesktopLockWithoutX, BelongsToTheSessionWhetherItsXServerCanBeReachedOrNot) {
    const XServer server("640x480x24");
    Held early;
    {
        const Variable unreachable("DISPLAY");
        early = lock();
    }
    EXPECT_TRUE(early);
    EXPECT_FALSE(lock());
    early.reset();
    const Held late = lock();
    EXPECT_TRUE(late);
    const Variable unreachable("DISPLAY");
    EXPECT_FALSE(lock());
}

TEST_F(DesktopLockWithoutX, GoesWithAProcessThatIsKilled) {
    Neighbour neighbour;
    EXPECT_TRUE(neighbour.hasIt());
    EXPECT_FALSE(lock());
    neighbour.kill();
    EXPECT_TRUE(lock());
}

TEST_F(DesktopLockWithoutX, OneThatCannotBeMadeIsNotSomebodyElses) {
    ASSERT_TRUE(QDir(m_runtime.path()).mkdir(u"wayland-0.ombru-task.lock"_s));
    const auto locked = lockDesktop();
    ASSERT_FALSE(locked);
    EXPECT_EQ(locked.error().domain, u"desktop"_s);
    EXPECT_TRUE(locked.error().description.startsWith(u"Cannot write "_s)) << locked.error().description.toStdString();
}
