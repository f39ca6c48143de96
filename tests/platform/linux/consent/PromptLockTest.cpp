// The lock between prompts and input, held by threads and by processes.
#include "platform/linux/consent/PromptLock.h"

#include "tests/support/Processes.h"
#include "tests/support/Wait.h"

#include <csignal>
#include <future>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class PromptLockTest : public ::testing::Test {
protected:
    // Takes a lock on a thread of its own, and gives it back when told to.
    class Holder {
    public:
        Holder(bool prompt, const QString &database)
            : m_thread([this, prompt, database] {
                  prompt ? hold(PromptLock::forPrompt(database)) : hold(PromptLock::forInput(database));
              }) {}
        ~Holder() { release(); }
        bool holds() const { return m_holds; }
        void release() {
            m_release = true;
            m_release.notify_all();
            if (m_thread.joinable())
                m_thread.join();
            m_holds = false;
        }

    private:
        void hold(const Result<PromptLock> &lock) {
            EXPECT_TRUE(lock);
            m_holds = true;
            m_release.wait(false);
        }

        std::atomic<bool> m_holds = false;
        std::atomic<bool> m_release = false;
        std::thread m_thread;
    };

    std::unique_ptr<Holder> prompt() { return std::make_unique<Holder>(true, database); }
    std::unique_ptr<Holder> input() { return std::make_unique<Holder>(false, database); }
    // Holders that wait inside the kernel: their threads sleep in fcntl.
    static int waiting() {
        int count = 0;
        for (const QString &thread : QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            QFile call(u"/proc/self/task/%1/syscall"_s.arg(thread));
            if (call.open(QFile::ReadOnly) && call.readAll().startsWith(QByteArray::number(SYS_fcntl) + ' '))
                ++count;
        }
        return count;
    }

    Scratch scratch;
    QString database = scratch.path(u"data/ombru/consent.db"_s);
    QString file = scratch.path(u"data/ombru/prompt.lock"_s);
};

} // namespace

TEST_F(PromptLockTest, InputWaitsForAnOpenPrompt) {
    const auto open = prompt();
    ASSERT_TRUE(waitUntil([&] { return open->holds(); }));
    const auto typing = input();
    ASSERT_TRUE(waitUntil([] { return waiting() == 1; }));
    EXPECT_FALSE(typing->holds());
    open->release();
    EXPECT_TRUE(waitUntil([&] { return typing->holds(); }));
}

TEST_F(PromptLockTest, APromptWaitsForInputToEnd) {
    ASSERT_TRUE(PromptLock::forPrompt(database)); // makes the file
    const auto typing = input();
    ASSERT_TRUE(waitUntil([&] { return typing->holds(); }));
    const auto asking = prompt();
    ASSERT_TRUE(waitUntil([] { return waiting() == 1; }));
    EXPECT_FALSE(asking->holds());
    typing->release();
    EXPECT_TRUE(waitUntil([&] { return asking->holds(); }));
}

TEST_F(PromptLockTest, OnePromptWaitsForAnother) {
    const auto first = prompt();
    ASSERT_TRUE(waitUntil([&] { return first->holds(); }));
    const auto second = prompt();
    ASSERT_TRUE(waitUntil([] { return waiting() == 1; }));
    EXPECT_FALSE(second->holds());
    first->release();
    EXPECT_TRUE(waitUntil([&] { return second->holds(); }));
}

TEST_F(PromptLockTest, InputsDoNotWaitForEachOther) {
    ASSERT_TRUE(PromptLock::forPrompt(database));
    const auto one = input();
    const auto other = input();
    EXPECT_TRUE(waitUntil([&] { return one->holds() && other->holds(); }));
}

TEST_F(PromptLockTest, NewInputWaitsBehindAPromptThatWaits) {
    ASSERT_TRUE(PromptLock::forPrompt(database));
    const auto typing = input();
    ASSERT_TRUE(waitUntil([&] { return typing->holds(); }));
    const auto asking = prompt();
    ASSERT_TRUE(waitUntil([] { return waiting() == 1; }));
    const auto later = input();
    ASSERT_TRUE(waitUntil([] { return waiting() == 2; }));
    typing->release();
    ASSERT_TRUE(waitUntil([&] { return asking->holds(); }));
    EXPECT_FALSE(later->holds());
    asking->release();
    EXPECT_TRUE(waitUntil([&] { return later->holds(); }));
}

TEST_F(PromptLockTest, InputWithoutAPauseDoesNotKeepAPromptAway) {
    ASSERT_TRUE(PromptLock::forPrompt(database));
    std::atomic<bool> stop = false;
    std::vector<std::jthread> typists;
    for (int typist = 0; typist < 3; ++typist) {
        typists.emplace_back([&] {
            while (!stop) {
                const auto typing = PromptLock::forInput(database);
                std::this_thread::sleep_for(std::chrono::milliseconds(2)); // as an operation takes
            }
        });
    }
    const auto asking = prompt();
    EXPECT_TRUE(waitUntil([&] { return asking->holds(); }));
    stop = true;
    asking->release();
}

TEST_F(PromptLockTest, AKilledPromptIsOver) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const auto held = PromptLock::forPrompt(database);
        scratch.write(u"held"_s, "");
        while (held)
            ::pause();
        ::_exit(1);
    }
    ASSERT_TRUE(waitUntil([&] { return QFileInfo::exists(scratch.path(u"held"_s)); }));
    const auto typing = input();
    ASSERT_TRUE(waitUntil([] { return waiting() == 1; }));
    EXPECT_FALSE(typing->holds());
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_TRUE(waitUntil([&] { return typing->holds(); }));
}

TEST_F(PromptLockTest, NothingIsMadeByInputBeforeThereWasADecision) {
    EXPECT_TRUE(PromptLock::forInput(database));
    EXPECT_FALSE(QFileInfo::exists(scratch.path(u"data"_s)));
}

TEST_F(PromptLockTest, TheFileAndItsDirectoryAreTheOwnersAlone) {
    ASSERT_TRUE(PromptLock::forPrompt(database));
    struct stat made = {};
    ASSERT_EQ(::stat(QFile::encodeName(file).constData(), &made), 0);
    EXPECT_EQ(made.st_mode & 07777, 0600U);
    ASSERT_EQ(::stat(QFile::encodeName(scratch.path(u"data/ombru"_s)).constData(), &made), 0);
    EXPECT_EQ(made.st_mode & 07777, 0700U);
}

TEST_F(PromptLockTest, WhereNothingCanBeWrittenInputGoesOnAndNoPromptOpens) {
    scratch.write(u"data"_s, "no directory");
    EXPECT_TRUE(PromptLock::forInput(database));
    const auto asking = PromptLock::forPrompt(database);
    ASSERT_FALSE(asking);
    EXPECT_EQ(asking.error().domain, u"prompt"_s);
    EXPECT_TRUE(asking.error().description.contains(file)) << asking.error().description.toStdString();
}

TEST_F(PromptLockTest, InputThatCannotLookForAPromptIsRefused) {
    ASSERT_TRUE(PromptLock::forPrompt(database));
    rlimit before = {};
    ::getrlimit(RLIMIT_NOFILE, &before);
    rlimit none = before;
    none.rlim_cur = 0;
    ::setrlimit(RLIMIT_NOFILE, &none);
    const auto typing = PromptLock::forInput(database);
    ::setrlimit(RLIMIT_NOFILE, &before);
    ASSERT_FALSE(typing);
    EXPECT_EQ(typing.error().code, EMFILE);
}

TEST_F(PromptLockTest, SomethingElseInTheLocksPlaceKeepsNobodyWaiting) {
    QDir().mkpath(file); // a directory
    EXPECT_TRUE(PromptLock::forInput(database));
    EXPECT_FALSE(PromptLock::forPrompt(database));
    QDir().rmdir(file);
    ASSERT_EQ(::mkfifo(QFile::encodeName(file).constData(), 0600), 0);
    EXPECT_TRUE(PromptLock::forInput(database));
}

TEST_F(PromptLockTest, InputThatMayNotWaitIsNotMade) {
    const auto open = prompt();
    ASSERT_TRUE(waitUntil([&] { return open->holds(); }));
    const auto refused = PromptLock::forInput(database, Clock::now());
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().domain, u"prompt"_s);
    open->release();
    EXPECT_TRUE(PromptLock::forInput(database, Clock::now()));
}
