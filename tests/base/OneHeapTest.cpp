#include "base/OneHeap.h"

#include <QByteArray>

#include <barrier>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <malloc.h>
#include <memory>
#include <thread>
#include <vector>

using namespace ombru;

namespace {

qsizetype heaps() {
    char *text = nullptr;
    std::size_t size = 0;
    std::FILE *file = ::open_memstream(&text, &size);
    ::malloc_info(0, file);
    std::fclose(file);
    const auto count = QByteArray(text, static_cast<qsizetype>(size)).count("<heap ");
    std::free(text);
    return count;
}

} // namespace

TEST(OneHeap, IsThatOfAllThreads) {
    constexpr int THREADS = 4;
    takeMemoryFromOneHeap();
    std::barrier all(THREADS);
    std::vector<std::jthread> threads;
    threads.reserve(THREADS);
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&all] {
            all.arrive_and_wait();
            const auto bytes = std::make_unique<char[]>(10'000);
            all.arrive_and_wait();
        });
    }
    threads.clear();
    EXPECT_EQ(heaps(), 1);
}
