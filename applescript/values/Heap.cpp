#include "applescript/values/Heap.h"

namespace ombru::applescript {

namespace {
thread_local Collectable *first = nullptr;
thread_local int scopes = 0;
} // namespace

Collectable::Collectable() : m_next(first) {
    if (first)
        first->m_previous = this;
    first = this;
}

Collectable::~Collectable() {
    if (!m_listed)
        return;
    if (m_previous)
        m_previous->m_next = m_next;
    else
        first = m_next;
    if (m_next)
        m_next->m_previous = m_previous;
}

HeapScope::HeapScope() {
    ++scopes;
}

HeapScope::~HeapScope() {
    if (--scopes > 0)
        return;
    // Releasing one may destroy it and any others, so each leaves the list before it lets go.
    while (first) {
        Collectable *current = first;
        first = current->m_next;
        if (first)
            first->m_previous = nullptr;
        current->m_listed = false;
        current->release();
    }
}

} // namespace ombru::applescript
