#include "platform/ColourScheme.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

class ColourSchemeWatch::Desk {
public:
    explicit Desk(std::function<void(ColourScheme)> onChange) {
        FakePlatform::instance().colourScheme = std::move(onChange);
    }
    ~Desk() { FakePlatform::instance().colourScheme = {}; }
};

ColourSchemeWatch::ColourSchemeWatch(std::function<void(ColourScheme)> onChange)
    : m_desk(std::make_unique<Desk>(std::move(onChange))) {}

ColourSchemeWatch::~ColourSchemeWatch() = default;

} // namespace ombru
