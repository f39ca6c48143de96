// A file of the journal: it grows at its end until it is cleared. One thread at a time.
#pragma once
#include "base/Descriptor.h"
#include "base/Failure.h"

#include <QByteArray>
#include <QString>

#include <array>

namespace ombru {

class JournalFile {
public:
    static constexpr int COUNT = 2; // beside a database: one is written while the other one is taken in

    // Where they are. The names are none of those that SQLite gives to files beside a database.
    static std::array<QString, COUNT> of(const QString &database);

    // Made for its owner only when it is not there, and emptied. A Failure is one of the store's.
    static Result<JournalFile> make(const QString &path);

    // All of it or nothing; then it survives the end of the program, however that ends.
    Result<> append(const QByteArray &bytes);
    Result<> clear() { return cut(0); }
    bool isEmpty() const { return m_size == 0; }

private:
    JournalFile(QString path, Descriptor file) : m_path(std::move(path)), m_file(std::move(file)) {}
    Result<> cut(qint64 size);
    Failure failure(int code) const;

    QString m_path;
    Descriptor m_file;
    qint64 m_size = 0;   // of what is whole
    bool m_torn = false; // there is more in the file
};

} // namespace ombru
