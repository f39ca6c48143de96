#include "platform/ColourScheme.h"

#include "platform/linux/services/LastingBus.h"

#include <QDBusServiceWatcher>
#include <QDBusVariant>

#include <utility>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

const QString PORTAL = u"org.freedesktop.portal.Desktop"_s;
const QString PATH = u"/org/freedesktop/portal/desktop"_s;
const QString SETTINGS = u"org.freedesktop.portal.Settings"_s;

// The portal wraps what it tells once more, in some versions.
QVariant unwrapped(QVariant value) {
    while (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

ColourScheme schemeOf(const QVariant &told) {
    constexpr uint DARK = 1;
    constexpr uint LIGHT = 2;
    const auto value = unwrapped(told).toUInt();
    return value == DARK ? ColourScheme::dark : value == LIGHT ? ColourScheme::light : ColourScheme::unknown;
}

} // namespace

class ColourSchemeWatch::Desk {
public:
    explicit Desk(std::function<void(ColourScheme)> onChange)
        : m_onChange(std::make_shared<std::function<void(ColourScheme)>>(std::move(onChange))) {
        m_changed.setSingleShot(true);
        QObject::connect(&m_changed, &QTimer::timeout, &m_changed, [this] { ask(); });
        m_bus.connect();
    }

private:
    void serve() {
        m_portal = std::make_unique<QDBusServiceWatcher>(PORTAL, m_bus.connection(),
                                                         QDBusServiceWatcher::WatchForRegistration);
        QObject::connect(m_portal.get(), &QDBusServiceWatcher::serviceRegistered, m_portal.get(), [this] { ask(); });
        m_bus.onSignal(PATH, SETTINGS, u"SettingChanged"_s, m_changed);
        ask();
    }
    void ask() {
        if (!m_bus.isConnected())
            return;
        auto question = QDBusMessage::createMethodCall(PORTAL, PATH, SETTINGS, u"Read"_s);
        question.setArguments({u"org.freedesktop.appearance"_s, u"color-scheme"_s});
        m_bus.call(question, [this](const QDBusMessage &answer) {
            if (answer.type() == QDBusMessage::ReplyMessage)
                tell(schemeOf(answer.arguments().value(0)));
        });
    }
    // From the event loop, since who is told may destroy this.
    void tell(ColourScheme scheme) {
        if (std::exchange(m_told, scheme) == scheme)
            return;
        Loop::main().post([scheme, weak = std::weak_ptr(m_onChange)] {
            if (const auto onChange = weak.lock())
                (*onChange)(scheme);
        });
    }

    const std::shared_ptr<std::function<void(ColourScheme)>> m_onChange;
    ColourScheme m_told = ColourScheme::unknown;
    QTimer m_changed;
    std::unique_ptr<QDBusServiceWatcher> m_portal;
    LastingBus m_bus{{.onConnected = [this] { serve(); }, .onLost = [] {}}};
};

ColourSchemeWatch::ColourSchemeWatch(std::function<void(ColourScheme)> onChange)
    : m_desk(std::make_unique<Desk>(std::move(onChange))) {}

ColourSchemeWatch::~ColourSchemeWatch() = default;

} // namespace ombru
