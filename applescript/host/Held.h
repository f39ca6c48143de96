// A facet for one operation, and what has to be held meanwhile, such as a lock.
#pragma once
#include <memory>
#include <utility>

namespace ombru::applescript {

// Only a temporary can be worked with, so that what is held ends with the statement that asked for it:
// need(host.input())->type(text, 0). One thread.
template <class Facet>
class Held {
public:
    explicit Held(Facet &facet, std::shared_ptr<const void> meanwhile = {})
        : m_meanwhile(std::move(meanwhile)), m_facet(&facet) {}
    Held(Held &&) = default;
    Held &operator=(Held &&) = delete;

    Facet *operator->() && { return m_facet; }

private:
    std::shared_ptr<const void> m_meanwhile;
    Facet *m_facet;
};

} // namespace ombru::applescript
