// Which of many descriptors are ready, behind one descriptor that is readable when any is, so that a loop watches one
// however many there are. Any thread; wait() only on the one that watches.
#pragma once
#include "base/Descriptor.h"

#include <cstdint>
#include <span>

namespace ombru {

class Readiness {
public:
    struct Wish {
        bool read = false;
        bool write = false;
        bool operator==(const Wish &) const = default;
    };
    // An error or a hang-up makes it both, whatever was wished for.
    struct Event {
        std::uint64_t key;
        bool readable;
        bool writable;
    };
    static constexpr std::size_t MOST_EVENTS = 64; // of one look; whoever was ready and not told of comes next time

    Readiness(); // not open when the system has no descriptors left

    bool isOpen() const { return m_descriptor.isOpen(); }
    int descriptor() const { return m_descriptor.number(); }

    // `key` is what an event tells. False when the system has no memory for it.
    bool add(const Descriptor &descriptor, std::uint64_t key, Wish wish);
    void change(const Descriptor &descriptor, std::uint64_t key, Wish wish);
    void remove(const Descriptor &descriptor);

    // Fills `events` with what is ready now, and waits for nothing; gives the part that was filled.
    std::span<const Event> look(std::span<Event, MOST_EVENTS> events) const;

private:
    Descriptor m_descriptor;
};

} // namespace ombru
