// What this computer plays, streamed to the service's web page while somebody there listens. Owns the capture and tells
// by value. Main thread. end() before it is destroyed.
#pragma once
#include "base/Task.h"
#include "controller/Event.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

namespace ombru {

class AudioCapture;

class WebSound {
public:
    struct Listener {
        std::function<void(const QString &text, EventKind kind)> emit;
        std::function<void(QByteArray block)> send; // 16-bit samples, little-endian, 24000 a second
    };

    explicit WebSound(Listener listener);
    ~WebSound();

    void listen(bool on);

    // Stops without a word, and waits until the system has let go.
    Task<> end();

private:
    void begin();
    void failed(const QString &message);

    Listener m_listener;
    std::unique_ptr<AudioCapture> m_capture; // while the page listens
    std::shared_ptr<WebSound *> m_way;       // of that capture back here, as long as it is the one
};

} // namespace ombru
