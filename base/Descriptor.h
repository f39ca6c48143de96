// Owns one open file descriptor and closes it. Any thread.
#pragma once
#include <unistd.h>
#include <utility>

namespace ombru {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(Descriptor &&other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        close();
        m_number = std::exchange(other.m_number, -1);
        return *this;
    }
    ~Descriptor() { close(); }

    int number() const { return m_number; } // -1: none
    bool isOpen() const { return m_number >= 0; }
    void close() {
        if (isOpen())
            ::close(std::exchange(m_number, -1));
    }

private:
    int m_number = -1;
};

} // namespace ombru
