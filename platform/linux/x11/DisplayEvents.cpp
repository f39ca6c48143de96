#include "platform/linux/x11/DisplayEvents.h"

#include "base/Loop.h"

#include <QSocketNotifier>

namespace ombru {

DisplayEvents::DisplayEvents(Display display, std::function<void(const xcb_generic_event_t &)> take)
    : m_display(std::move(display)), m_take(std::move(take)),
      m_notifier(std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection()), QSocketNotifier::Read)),
      m_self(std::make_shared<DisplayEvents *>(this)) {
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { takeAll(); });
}

DisplayEvents::~DisplayEvents() = default;

void DisplayEvents::catchUp() const {
    Loop::main().post([weak = std::weak_ptr(m_self)] {
        if (const auto self = weak.lock())
            (*self)->takeAll();
    });
}

void DisplayEvents::takeAll() {
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection())})
        m_take(*event);
    if (!isAlive())
        m_notifier->setEnabled(false); // the end of a connection stays readable for ever
}

} // namespace ombru
