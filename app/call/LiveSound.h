// The sound of a live call: what the caller says into this computer's microphone, and what is to be heard from its
// speaker, 20 ms at a time in mu-law. Main thread.
#pragma once
#include "base/Task.h"
#include "platform/Handset.h"
#include "voice/Samples.h"

#include <QByteArray>

#include <functional>
#include <memory>
#include <mutex>

namespace ombru {

class LiveSound {
public:
    explicit LiveSound(std::function<void(const QString &why)> onStop); // the system has ended it

    Task<Result<>> open(); // once, before the others

    // The next 160 bytes; silence where the microphone has not brought them. What is older than a fifth of a second is
    // left out.
    QByteArray heard();
    void play(const QByteArray &sound);

private:
    // What the microphone's thread brings.
    struct Brought {
        std::mutex mutex;
        Samples samples;
    };

    const std::shared_ptr<std::function<void(const QString &)>> m_onStop; // none is told once this has gone
    const std::shared_ptr<Brought> m_brought = std::make_shared<Brought>();
    std::unique_ptr<Handset> m_handset;
};

} // namespace ombru
