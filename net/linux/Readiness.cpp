#include "net/Readiness.h"

#include <algorithm>
#include <array>
#include <sys/epoll.h>

namespace ombru {

namespace {

epoll_event asked(std::uint64_t key, Readiness::Wish wish) {
    epoll_event event{};
    event.events = (wish.read ? std::uint32_t(EPOLLIN) : 0U) | (wish.write ? std::uint32_t(EPOLLOUT) : 0U);
    event.data.u64 = key;
    return event;
}

Readiness::Event told(const epoll_event &event) {
    const bool broken = event.events & (EPOLLERR | EPOLLHUP);
    return {event.data.u64, broken || event.events & EPOLLIN, broken || event.events & EPOLLOUT};
}

} // namespace

Readiness::Readiness() : m_descriptor(::epoll_create1(EPOLL_CLOEXEC)) {}

bool Readiness::add(const Descriptor &descriptor, std::uint64_t key, Wish wish) {
    auto event = asked(key, wish);
    return ::epoll_ctl(m_descriptor.number(), EPOLL_CTL_ADD, descriptor.number(), &event) == 0;
}

void Readiness::change(const Descriptor &descriptor, std::uint64_t key, Wish wish) {
    auto event = asked(key, wish);
    ::epoll_ctl(m_descriptor.number(), EPOLL_CTL_MOD, descriptor.number(), &event);
}

void Readiness::remove(const Descriptor &descriptor) {
    ::epoll_ctl(m_descriptor.number(), EPOLL_CTL_DEL, descriptor.number(), nullptr);
}

std::span<const Readiness::Event> Readiness::look(std::span<Event, MOST_EVENTS> events) const {
    std::array<epoll_event, MOST_EVENTS> ready;
    const int count = std::max(0, ::epoll_wait(m_descriptor.number(), ready.data(), MOST_EVENTS, 0));
    std::ranges::transform(ready.begin(), ready.begin() + count, events.begin(), told);
    return events.first(static_cast<std::size_t>(count));
}

} // namespace ombru
