// Gives a variable its value back at the end of a block, however that ends.
#pragma once
#include <utility>

namespace ombru::applescript {

template <class T>
class Restore {
public:
    explicit Restore(T &variable) : m_variable(variable), m_before(variable) {}
    ~Restore() { m_variable = std::move(m_before); }
    Restore(const Restore &) = delete;
    Restore &operator=(const Restore &) = delete;

private:
    T &m_variable;
    T m_before;
};

} // namespace ombru::applescript
