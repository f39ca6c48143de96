#include "app/lifecycle/Knock.h"

#include "app/cli/Request.h"

namespace ombru {

Knock::Knock(std::unique_ptr<Door> door, const PanelOptions &options) : m_door(std::move(door)), m_options(options) {}

Task<int> Knock::run() {
    return m_door->ask(request(m_options), *this, [this](const QJsonObject &line) { show(*this, line); });
}

} // namespace ombru
