// Running coroutines and the event loop from a test. Each wait has a guard, so that a test that would hang fails
// instead.
#pragma once
#include "base/Task.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>

#include <gtest/gtest.h>

// Failed expectations show texts as texts.
inline void PrintTo(const QString &text, std::ostream *out) {
    *out << '"' << text.toStdString() << '"';
}
inline void PrintTo(const QByteArray &bytes, std::ostream *out) {
    *out << '"' << bytes.toStdString() << '"';
}

namespace ombru::test {

constexpr int GUARD_MILLISECONDS = 60'000;

// Turns the event loop until the condition holds; false when the guard ends it.
template <class Condition>
bool waitUntil(Condition condition) {
    QElapsedTimer elapsed;
    elapsed.start();
    while (!condition()) {
        if (elapsed.hasExpired(GUARD_MILLISECONDS))
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

// Everything that is ready now has run; timers that are not due have not.
inline void settle() {
    for (int turn = 0; turn < 10; ++turn)
        QCoreApplication::processEvents(QEventLoop::AllEvents);
}

template <class T>
Task<> keep(Task<T> task, std::shared_ptr<std::optional<T>> into) {
    into->emplace(co_await task);
}

inline Task<> mark(Task<> task, std::shared_ptr<bool> ended) {
    co_await task;
    *ended = true;
}

// Runs the task to its end and gives its value.
template <class T>
T await(Task<T> task) {
    const auto value = std::make_shared<std::optional<T>>();
    const auto kept = keep<T>(std::move(task), value);
    if (!waitUntil([&] { return value->has_value(); })) {
        ADD_FAILURE() << "the task never ended";
        std::abort();
    }
    return std::move(**value);
}

inline void await(Task<> task) {
    const auto ended = std::make_shared<bool>(false);
    const auto kept = mark(std::move(task), ended);
    ASSERT_TRUE(waitUntil([&] { return *ended; })) << "the task never ended";
}

} // namespace ombru::test
