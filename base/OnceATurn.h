// Runs a job once after all that asks for it in one turn of the main loop, for who draws what several changes say. Main
// thread; what is asked for ends with this object.
#pragma once
#include "base/Loop.h"

#include <QObject>

#include <functional>
#include <utility>

namespace ombru {

class OnceATurn {
public:
    explicit OnceATurn(std::function<void()> job) : m_job(std::move(job)) {}

    void ask() {
        if (std::exchange(m_asked, true))
            return;
        onMain(&m_here, [this] {
            m_asked = false;
            m_job();
        });
    }

private:
    std::function<void()> m_job;
    QObject m_here;
    bool m_asked = false;
};

} // namespace ombru
