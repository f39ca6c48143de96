// One streaming recognition: what the caller says goes to the speech service, what it makes of that comes back as
// texts. A WebSocket on the queue of its owner, where all of this is made, used and dropped; it opens by itself and
// never comes back after a loss.
//
//     m_recognition = std::make_unique<Recognition>(m_queue, Recognition::Options{.url = speech.sttURL(), .key = key,
//     ...}); m_recognition->send(bytes); m_recognition->finish(), m_recognition.reset();
//
// Both callbacks come on the queue, never from the constructor, and never once it is finished or dropped; it may be
// dropped in either of them. A goodbye holds the queue, nothing else of the owner's, for a second at most.
#pragma once
#include <QByteArray>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>

namespace ombru {

class SerialQueue;

class Recognition {
public:
    struct Options {
        QUrl url;               // ws or wss: Deepgram::sttURL()
        QString key;            // of the speech service; in no error
        QString authority = {}; // a file with certificates that are trusted besides the system's; empty for none
        std::function<void(const QString &text)> onText = {};           // each text message; binary ones are ignored
        std::function<void(const QString &description)> onFailure = {}; // it is over, and not by us; once
    };

    Recognition(std::shared_ptr<SerialQueue> queue, Options options);
    ~Recognition(); // hangs up
    Recognition(const Recognition &) = delete;
    Recognition &operator=(const Recognition &) = delete;

    // In order; what is sent while it still opens follows then. Dropped when it is over, and when more than a minute of
    // sound waits to be sent.
    void send(const QByteArray &bytes);
    void sendText(const QString &text);

    // Says {"type": "CloseStream"} and closes with code 1000. Hangs up when it is not open yet.
    void finish();

private:
    class Link;
    std::shared_ptr<Link> m_link;
};

} // namespace ombru
