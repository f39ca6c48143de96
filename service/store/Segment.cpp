#include "service/store/Segment.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QUuid>
#include <QtEndian>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr QByteArrayView KIND = "ombru journal ";
constexpr QByteArrayView VERSION = "1\n";
constexpr qsizetype NAME = 16; // bytes
constexpr qsizetype SUM = 8;
constexpr qsizetype LENGTH = sizeof(quint32);
constexpr qsizetype HEAD = KIND.size() + VERSION.size() + 2 * NAME + SUM;

QByteArray sumOf(QByteArrayView bytes) {
    QCryptographicHash hash(QCryptographicHash::Blake2b_160);
    hash.addData(bytes);
    return hash.result().first(SUM);
}

template <class Value>
QDataStream &operator<<(QDataStream &out, const std::optional<Value> &value) {
    out << value.has_value();
    return value ? out << *value : out;
}
template <class Value>
QDataStream &operator>>(QDataStream &in, std::optional<Value> &value) {
    bool there = false;
    in >> there;
    return there ? in >> value.emplace() : in;
}

QDataStream &operator<<(QDataStream &out, const TaskRecord &task) {
    return out << task.id << task.computer << task.text << task.from << task.began << task.ended << task.steps
               << task.outcome << task.answer;
}
QDataStream &operator>>(QDataStream &in, TaskRecord &task) {
    return in >> task.id >> task.computer >> task.text >> task.from >> task.began >> task.ended >> task.steps >>
           task.outcome >> task.answer;
}

QDataStream &operator<<(QDataStream &out, const Item &item) {
    return out << item.number << item.task << item.step << item.time << item.kind << item.text << item.cutFrom
               << item.picture;
}
QDataStream &operator>>(QDataStream &in, Item &item) {
    return in >> item.number >> item.task >> item.step >> item.time >> item.kind >> item.text >> item.cutFrom >>
           item.picture;
}

QByteArray bytesOf(const Entry &entry) {
    QByteArray bytes;
    QDataStream out(&bytes, QDataStream::WriteOnly);
    out.setVersion(QDataStream::Qt_6_4);
    out << entry.computer << entry.received << static_cast<quint8>(entry.tasks.size());
    for (const auto &change : entry.tasks)
        out << change.task << change.lost << change.begun;
    out << entry.item.has_value();
    if (entry.item)
        out << *entry.item << entry.jpeg;
    return bytes;
}

std::optional<Entry> entryOf(const QByteArray &bytes) {
    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_6_4);
    Entry entry;
    quint8 tasks = 0;
    in >> entry.computer >> entry.received >> tasks;
    for (; tasks > 0 && in.status() == QDataStream::Ok; --tasks) {
        auto &change = entry.tasks.emplace_back();
        in >> change.task >> change.lost >> change.begun;
    }
    bool hasItem = false;
    in >> hasItem;
    if (hasItem) {
        entry.item.emplace().computer = entry.computer;
        in >> *entry.item >> entry.jpeg;
    }
    return in.status() == QDataStream::Ok && in.atEnd() ? std::optional(entry) : std::nullopt;
}

Failure foreign(const QString &why) {
    return {u"store"_s, 0, why};
}

// The next whole entry, and where it ends.
std::optional<Entry> nextEntry(const QByteArray &bytes, qsizetype &at) {
    if (bytes.size() - at < LENGTH + SUM)
        return std::nullopt;
    const auto length = static_cast<qsizetype>(qFromBigEndian<quint32>(bytes.constData() + at));
    const auto begin = at + LENGTH + SUM;
    if (bytes.size() - begin < length)
        return std::nullopt;
    const auto content = bytes.sliced(begin, length);
    if (sumOf(content) != QByteArrayView(bytes).sliced(at + LENGTH, SUM))
        return std::nullopt;
    at = begin + length;
    return entryOf(content);
}

} // namespace

QByteArray newName() {
    return QUuid::createUuid().toRfc4122();
}

QByteArray writtenHead(const SegmentName &name) {
    QByteArray bytes;
    bytes.append(KIND).append(VERSION).append(name.own).append(name.next);
    return bytes + sumOf(bytes);
}

QByteArray written(const Entry &entry) {
    return sealed(bytesOf(entry));
}

QByteArray sealed(const QByteArray &content) {
    QByteArray bytes(LENGTH, Qt::Uninitialized);
    qToBigEndian(static_cast<quint32>(content.size()), bytes.data());
    return bytes + sumOf(content) + content;
}

Result<std::optional<Segment>> readSegment(const QByteArray &bytes) {
    const auto known = std::min(bytes.size(), KIND.size());
    if (QByteArrayView(bytes).first(known) != KIND.first(known))
        return std::unexpected(foreign(u"it is something else's"_s));
    const auto version = QByteArrayView(bytes).sliced(known).first(std::min(bytes.size() - known, VERSION.size()));
    if (version != VERSION.first(version.size()))
        return std::unexpected(foreign(u"a newer ombru-service wrote it"_s));
    if (bytes.size() < HEAD) // it was not written to its end: nothing of it has been shown
        return std::nullopt;
    if (sumOf(QByteArrayView(bytes).first(HEAD - SUM)) != QByteArrayView(bytes).sliced(HEAD - SUM, SUM))
        return std::unexpected(foreign(u"it is damaged"_s));
    Segment segment;
    segment.name.own = bytes.sliced(KIND.size() + VERSION.size(), NAME);
    segment.name.next = bytes.sliced(KIND.size() + VERSION.size() + NAME, NAME);
    auto at = HEAD;
    while (auto entry = nextEntry(bytes, at))
        segment.entries.push_back(*std::move(entry));
    return segment;
}

} // namespace ombru
