#include "platform/linux/services/BusNames.h"

#include "platform/linux/services/SessionBusAddress.h"

#include <QByteArray>

#include <algorithm>
#include <memory>
#include <systemd/sd-bus.h>
#include <vector>

namespace ombru {

namespace {

using Bus = std::unique_ptr<sd_bus, sd_bus *(*)(sd_bus *)>;
using Message = std::unique_ptr<sd_bus_message, sd_bus_message *(*)(sd_bus_message *)>;

Bus openBus(std::chrono::nanoseconds limit) {
    const auto address = sessionBusAddress().toUtf8();
    sd_bus *opened = nullptr;
    if (address.isEmpty() || sd_bus_new(&opened) < 0)
        return {nullptr, sd_bus_flush_close_unref};
    Bus bus(opened, sd_bus_flush_close_unref);
    const auto microseconds = std::chrono::ceil<std::chrono::microseconds>(limit).count();
    if (sd_bus_set_address(opened, address.constData()) < 0 || sd_bus_set_bus_client(opened, 1) < 0 ||
        sd_bus_set_method_call_timeout(opened, static_cast<std::uint64_t>(microseconds)) < 0 ||
        sd_bus_start(opened) < 0)
        bus.reset();
    return bus;
}

// The names that the bus answers that question with.
std::vector<QByteArray> names(sd_bus *bus, const char *question) {
    sd_bus_message *answer = nullptr;
    const int asked = sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                         question, nullptr, &answer, "");
    const Message message(answer, sd_bus_message_unref);
    std::vector<QByteArray> result;
    const char *name = nullptr;
    if (asked >= 0 && sd_bus_message_enter_container(answer, 'a', "s") > 0)
        while (sd_bus_message_read_basic(answer, 's', &name) > 0)
            result.emplace_back(name);
    return result;
}

bool isAmong(const std::vector<QByteArray> &all, const char *name) {
    return std::ranges::find(all, name) != all.end();
}

} // namespace

bool sessionServiceIsThere(const char *name, std::chrono::nanoseconds limit) {
    const auto bus = openBus(limit);
    return bus &&
           (isAmong(names(bus.get(), "ListNames"), name) || isAmong(names(bus.get(), "ListActivatableNames"), name));
}

} // namespace ombru
