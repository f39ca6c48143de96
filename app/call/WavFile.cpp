#include "app/call/WavFile.h"

#include "voice/Mulaw.h"

#include <QDataStream>
#include <QSaveFile>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr quint16 MULAW = 7; // of the WAV format tags
constexpr quint32 FORMAT_BYTES = 18;
constexpr quint32 HEAD_BYTES = 4 + 8 + FORMAT_BYTES + 8; // what the file's own size counts besides the sound

QByteArray head(quint32 size) {
    QByteArray bytes;
    QDataStream out(&bytes, QDataStream::WriteOnly);
    out.setByteOrder(QDataStream::LittleEndian);
    out.writeRawData("RIFF", 4);
    out << HEAD_BYTES + size;
    out.writeRawData("WAVEfmt ", 8);
    out << FORMAT_BYTES << MULAW << quint16(1) << quint32(RATE) << quint32(RATE) << quint16(1) << quint16(8)
        << quint16(0);
    out.writeRawData("data", 4);
    out << size;
    return bytes;
}

} // namespace

Result<> writeWav(const QString &place, const QByteArray &sound) {
    QSaveFile file(place);
    const auto bytes = head(static_cast<quint32>(sound.size())) + sound;
    if (file.open(QFile::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return {};
    return std::unexpected(Failure{u"call"_s, 1, u"%1 cannot be written: %2."_s.arg(place, file.errorString())});
}

} // namespace ombru
