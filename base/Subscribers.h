// Those who want to hear of something. They come and go at any time, also while they are being told: a receiver may
// drop its own subscription or another one, add one, and even drop the Subscribers. One thread.
//
//     const Subscription heard = events.add([](const Event &event) { ... }); // until it is dropped
//     events.tell(event);
#pragma once
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace ombru {

struct SubscriptionEntry {
    bool wanted = true;
};

// Keeps a receiver subscribed; dropping it ends that at once. May outlive the Subscribers.
class [[nodiscard]] Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<SubscriptionEntry> entry) : m_entry(std::move(entry)) {}
    Subscription(Subscription &&) noexcept = default;
    Subscription &operator=(Subscription &&other) noexcept {
        end();
        m_entry = std::move(other.m_entry);
        return *this;
    }
    ~Subscription() { end(); }

    void end() {
        if (const auto entry = std::exchange(m_entry, nullptr))
            entry->wanted = false;
    }

private:
    std::shared_ptr<SubscriptionEntry> m_entry;
};

template <class... Values>
class Subscribers {
public:
    using Receiver = std::function<void(const Values &...)>;

    Subscription add(Receiver receiver) {
        auto entry = std::make_shared<Entry>(std::move(receiver));
        auto entries = std::make_shared<Entries>();
        for (const auto &known : *m_entries) {
            if (!known.expired())
                entries->push_back(known);
        }
        entries->push_back(entry);
        m_entries = std::move(entries);
        return Subscription(std::move(entry));
    }

    // In the order they came. One that is added meanwhile hears of the next, one that has gone meanwhile of none.
    void tell(const Values &...values) const {
        const auto entries = m_entries; // stays as it is, whoever comes
        for (const auto &known : *entries) {
            if (const auto entry = known.lock(); entry && entry->wanted)
                entry->receiver(values...);
        }
    }

private:
    struct Entry : SubscriptionEntry {
        explicit Entry(Receiver function) : receiver(std::move(function)) {}
        Receiver receiver;
    };
    using Entries = std::vector<std::weak_ptr<Entry>>;

    std::shared_ptr<const Entries> m_entries = std::make_shared<Entries>();
};

} // namespace ombru
