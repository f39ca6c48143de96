// One observable field of a controller: reads as its value, is written by its owner alone on the main thread, and calls
// the owner's willChange() just before a write that changes the value takes effect.
#pragma once
#include <QCoreApplication>
#include <QThread>

#include <concepts>
#include <utility>

namespace ombru {

template <class Owner, class T>
class Published {
public:
    explicit Published(Owner *owner, T value = {}) : m_owner(owner), m_value(std::move(value)) {}
    Published(const Published &) = delete;

    operator const T &() const { return m_value; }
    const T &operator()() const { return m_value; }
    const T *operator->() const { return &m_value; }
    friend bool operator==(const Published &field, const T &value) { return field.m_value == value; }

private:
    friend Owner;

    Published &operator=(T value) {
        Q_ASSERT(QThread::currentThread() == qApp->thread());
        if (!(value == m_value)) {
            m_owner->willChange();
            m_value = std::move(value);
        }
        return *this;
    }

    template <std::invocable<T &> Change>
    void edit(Change change) {
        T copy = m_value;
        change(copy);
        *this = std::move(copy);
    }

    Owner *m_owner;
    T m_value;
};

} // namespace ombru
