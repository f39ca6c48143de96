// Values of a script can contain each other in circles, which counted references never free. Everything that can be
// part of a circle is Collectable; the outermost HeapScope of a thread empties what is still alive when it ends.
//
// A value that leaves the scope (a result) must be turned into text before that.
#pragma once
#include <cstddef>

namespace ombru::applescript {

class Collectable {
public:
    Collectable();
    virtual ~Collectable();
    Collectable(const Collectable &) = delete;
    Collectable &operator=(const Collectable &) = delete;

    virtual void release() = 0; // lets go of every other value

private:
    friend class HeapScope;
    Collectable *m_previous = nullptr;
    Collectable *m_next = nullptr;
    bool m_listed = true;
};

class HeapScope {
public:
    HeapScope();
    ~HeapScope();
    HeapScope(const HeapScope &) = delete;
    HeapScope &operator=(const HeapScope &) = delete;
};

} // namespace ombru::applescript
