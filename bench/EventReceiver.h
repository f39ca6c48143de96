// The service's end of a web channel, as little as it can be: it takes one client's events, whose texts are moments of
// the steady clock, and keeps how long each was on its way. A thread of its own, which ends with this object.
#pragma once
#include "base/Descriptor.h"
#include "bench/Clients.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace ombru::bench {

class EventReceiver {
public:
    EventReceiver();
    ~EventReceiver();

    std::uint16_t port() const { return m_port; }

    // Once so many have come in all.
    const std::vector<Span> &waitFor(std::size_t count);

private:
    void serve();
    void take(QByteArrayView text, Moment now);

    Descriptor m_listener;
    std::uint16_t m_port = 0;
    std::mutex m_mutex; // guards the rest
    std::condition_variable m_more;
    std::vector<Span> m_spans;
    Descriptor m_client;
    std::thread m_thread;
};

} // namespace ombru::bench
