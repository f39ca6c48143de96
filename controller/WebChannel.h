// The way to the service's web page, as far as the controller knows it: a channel that exists gets the events, and one
// that is open also the state and the pictures. Main thread.
#pragma once
#include "wire/AgentMessages.h"

#include <functional>
#include <memory>

namespace ombru {

class WebChannel {
public:
    using Send = std::function<void(AgentMessage)>;

    // From now on messages go there; nowhere when it is empty. May be called in the middle of a send.
    void set(Send send) { m_send = send ? std::make_shared<const Send>(std::move(send)) : nullptr; }

    bool exists() const { return m_send != nullptr; }

    void send(AgentMessage message) const {
        if (const auto running = m_send) // kept while it runs
            (*running)(std::move(message));
    }

private:
    std::shared_ptr<const Send> m_send;
};

} // namespace ombru
