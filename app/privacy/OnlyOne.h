// One window of a kind for each owner: a second start hands its word to the first and is done. Main thread.
#pragma once
#include <QLocalServer>
#include <QLockFile>
#include <QString>

#include <functional>
#include <memory>

namespace ombru {

class OnlyOne {
public:
    // `name` is a file's name in the owner's runtime directory. `onWord` gets what later starts hand over.
    OnlyOne(const QString &name, std::function<void(const QString &word)> onWord);

    // True: this start is the first, or nobody can tell. False: the first one has the word. Blocks for some seconds
    // when the first one does not answer, and counts as the first then.
    bool isFirst(const QString &word);

private:
    void receive();
    bool handOver(const QString &word) const;

    QString m_socket;
    std::function<void(const QString &)> m_onWord;
    QLockFile m_lock;
    QLocalServer m_server;
};

} // namespace ombru
