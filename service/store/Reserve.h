// Room on the disk that is set aside, as a file: what makes room needs some itself, and on a full disk there is no
// other. On the store's thread.
#pragma once
#include <QString>

namespace ombru {

class Reserve {
public:
    Reserve(QString file, qint64 bytes) : m_file(std::move(file)), m_bytes(bytes) {}

    void fill(); // as much of it as there is room for
    void release();
    bool isAlone() const; // there is no room beside it

private:
    const QString m_file;
    const qint64 m_bytes;
};

} // namespace ombru
