#include "base/SerialQueue.h"

#include "tests/support/Wait.h"

#include <QThread>
#include <QTimer>

#include <atomic>
#include <latch>
#include <thread>

using namespace ombru;
using namespace std::chrono_literals;
using test::waitUntil;

namespace {

// Waits until all that was posted to the queue before has run.
void finish(SerialQueue &queue) {
    std::latch done(1);
    queue.post([&done] { done.count_down(); });
    done.wait();
}

// Tells on which thread it was destroyed.
struct Grave {
    std::shared_ptr<std::atomic<QThread *>> diedOn;
    ~Grave() { *diedOn = QThread::currentThread(); }
};

} // namespace

TEST(SerialQueue, RunsTheJobsOfManyThreadsOneAtATimeInTheOrderOfEach) {
    constexpr int THREADS = 4;
    constexpr int JOBS = 5000;
    SerialQueue queue("test");
    std::vector<std::vector<int>> seen(THREADS);
    int running = 0;
    int most = 0;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < THREADS; ++thread) {
            threads.emplace_back([&, thread] {
                for (int job = 0; job < JOBS; ++job)
                    queue.post([&, thread, job] {
                        most = std::max(most, ++running);
                        seen[thread].push_back(job);
                        --running;
                    });
            });
        }
    }
    finish(queue);
    EXPECT_EQ(most, 1);
    for (const auto &jobs : seen) {
        EXPECT_EQ(jobs.size(), static_cast<std::size_t>(JOBS));
        EXPECT_TRUE(std::ranges::is_sorted(jobs));
    }
}

TEST(SerialQueue, RunsOffTheMainThreadAndAlwaysOnTheSame) {
    SerialQueue queue("test");
    EXPECT_EQ(queue.name(), "test");
    EXPECT_FALSE(queue.isCurrent());
    std::vector<QThread *> threads;
    bool current = false;
    for (int job = 0; job < 3; ++job)
        queue.post([&] {
            threads.push_back(QThread::currentThread());
            current = queue.isCurrent();
        });
    finish(queue);
    EXPECT_TRUE(current);
    EXPECT_NE(threads[0], QThread::currentThread());
    EXPECT_EQ(threads, std::vector(3, threads[0]));
}

TEST(SerialQueue, ManyShareAFewThreads) {
    std::vector<std::unique_ptr<SerialQueue>> queues;
    std::mutex mutex;
    std::set<QThread *> threads;
    for (int number = 0; number < 50; ++number) {
        queues.push_back(std::make_unique<SerialQueue>("test"));
        queues.back()->post([&] {
            const std::lock_guard lock(mutex);
            threads.insert(QThread::currentThread());
        });
    }
    for (const auto &queue : queues)
        finish(*queue);
    EXPECT_LE(threads.size(), 4U);
}

TEST(SerialQueue, JobsThatTakeLongHoldUpOnlyTheirLike) {
    SerialQueue slow("slow", SerialQueue::Jobs::lengthy);
    std::latch begun(1);
    std::latch release(1);
    slow.post([&] {
        begun.count_down();
        release.wait();
    });
    begun.wait();
    std::vector<std::unique_ptr<SerialQueue>> queues;
    std::atomic<std::size_t> ran = 0;
    for (int number = 0; number < 6; ++number)
        queues.emplace_back(std::make_unique<SerialQueue>("quick"))->post([&ran] { ++ran; });
    EXPECT_TRUE(waitUntil([&] { return ran == queues.size(); }));
    release.count_down();
    finish(slow);
}

TEST(SerialQueue, OneMayBeMadeOnAnother) {
    SerialQueue first("first");
    SerialQueue second("second");
    std::atomic<int> ran = 0;
    for (auto *queue : {&first, &second})
        for (int number = 0; number < 100; ++number)
            queue->post([&ran] {
                const auto made = std::make_shared<SerialQueue>("made");
                made->post([made, &ran] { ++ran; });
            });
    EXPECT_TRUE(waitUntil([&] { return ran == 200; }));
}

TEST(SerialQueue, WhatHasNotBegunIsDroppedWithTheQueue) {
    std::latch begun(1);
    std::latch release(1);
    std::atomic<bool> ran = false;
    const auto held = std::make_shared<int>();
    {
        SerialQueue queue("test");
        queue.post([&] {
            begun.count_down();
            release.wait();
        });
        queue.post([&ran, held] { ran = true; });
        begun.wait();
    }
    release.count_down();
    EXPECT_TRUE(waitUntil([&] { return held.use_count() == 1; }));
    EXPECT_FALSE(ran);
}

TEST(SerialQueue, ItsObjectsDieOnItsLoopWhoeverLetsGo) {
    const auto diedOn = std::make_shared<std::atomic<QThread *>>(nullptr);
    std::atomic<QThread *> loop = nullptr;
    {
        SerialQueue queue("test");
        auto object = queue.make<Grave>(diedOn);
        queue.post([&loop] { loop = QThread::currentThread(); });
        finish(queue);
        EXPECT_EQ(diedOn->load(), nullptr);
        object.reset();
    }
    EXPECT_TRUE(waitUntil([&] { return diedOn->load() != nullptr; })) << "also when the queue went first";
    EXPECT_EQ(diedOn->load(), loop.load());
}

TEST(SerialQueue, HoldsAnObjectUntilItIsReleased) {
    const auto diedOn = std::make_shared<std::atomic<QThread *>>(nullptr);
    std::atomic<QThread *> loop = nullptr;
    SerialQueue queue("test");
    auto object = std::make_shared<Grave>(diedOn);
    const void *address = object.get();
    queue.post([&queue, &loop, object = std::move(object)]() mutable {
        queue.hold(std::move(object));
        loop = QThread::currentThread();
    });
    finish(queue);
    EXPECT_EQ(diedOn->load(), nullptr);
    queue.post([&queue, address] { queue.release(address); });
    finish(queue);
    EXPECT_NE(diedOn->load(), nullptr);
    EXPECT_EQ(diedOn->load(), loop.load());
}

TEST(SerialQueue, TimersRunOnItWhenTheirTimeHasCome) {
    ManualClock clock;
    SerialQueue queue("test");
    std::atomic<int> rang = 0;
    std::atomic<bool> onQueue = false;
    Timer timer;
    Timer dropped;
    queue.post([&] {
        timer = queue.after(10s, [&] {
            onQueue = queue.isCurrent();
            ++rang;
        });
        dropped = queue.after(10s, [&] { rang = 100; });
        dropped.cancel();
    });
    finish(queue);
    clock.advance(9s);
    finish(queue);
    EXPECT_EQ(rang, 0);
    clock.advance(1s);
    finish(queue);
    EXPECT_EQ(rang, 1);
    EXPECT_TRUE(onQueue);
}

TEST(SerialQueue, ServesTheObjectsOfQt) {
    SerialQueue queue("test");
    std::atomic<bool> rang = false;
    queue.post([&rang] { QTimer::singleShot(1, [&rang] { rang = true; }); });
    EXPECT_TRUE(waitUntil([&rang] { return rang.load(); }));
}
