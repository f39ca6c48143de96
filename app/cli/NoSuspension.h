// While one lives, Ctrl-Z does not stop the program: what it has started would go on, and nobody would watch it. Main
// thread, one at a time.
#pragma once

namespace ombru {

class NoSuspension {
public:
    NoSuspension();
    ~NoSuspension();
    NoSuspension(const NoSuspension &) = delete;
    NoSuspension &operator=(const NoSuspension &) = delete;

    // Whether the owner has tried it since this was last asked.
    static bool takeWish();

private:
    void (*m_before)(int);
};

} // namespace ombru
