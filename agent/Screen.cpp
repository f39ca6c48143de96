#include "agent/Screen.h"

#include "base/Background.h"
#include "base/Clock.h"
#include "base/WholeFile.h"
#include "picture/PictureFile.h"
#include "picture/Scale.h"
#include "platform/Screenshot.h"
#include "platform/SystemLog.h"

#include <QDir>

namespace ombru::Screen {
namespace {

Result<QSize> shoot(const QString &path) {
    const auto picture = takeScreenshot(maxImageDim);
    if (!picture)
        return std::unexpected(picture.error());
    const auto png = encodePng(*picture);
    if (!png)
        return std::unexpected(
            Failure{QStringLiteral("screen"), 2, QStringLiteral("the picture could not be encoded")});
    // A directory that cannot be made shows when the file is written.
    QDir().mkpath(QFileInfo(path).path());
    const auto written = writeWholeFile(path, *png);
    if (!written)
        return std::unexpected(written.error());
    return QSize(picture->width, picture->height);
}

std::optional<QByteArray> preview(const QString &file, int maxSide, double quality) {
    const auto picture = readPng(file);
    if (!picture)
        return std::nullopt;
    const QSize full(picture->width, picture->height);
    const bool large = std::max(full.width(), full.height()) > maxSide;
    return encodeJpeg(large ? scaled(*picture, fitted(full, maxSide)) : *picture, quality);
}

} // namespace

Failure captureFailure() {
    return {QStringLiteral("screen"), 1,
            QStringLiteral("screenshot failed — give ombru Screen Recording permission "
                           "(System Settings → Privacy & Security)")};
}

Task<Result<Shot>> capture(QString into, int step, std::stop_token stop) {
    const QString name = QString::asprintf("shot_%lld_%03d.png", static_cast<long long>(Clock::unixSeconds()), step);
    const QString path = QDir(into).filePath(name);
    const auto size = co_await backgroundWithin(LIMIT, stop, [path] { return shoot(path); });
    if (size && *size)
        co_return Shot{path, **size};
    const QString cause = size ? size->error().description : QStringLiteral("the display does not answer");
    logger::error(QStringLiteral("screenshot: ") + cause);
    co_return std::unexpected(captureFailure());
}

Task<QSize> points(std::stop_token stop) {
    const auto size = co_await backgroundWithin(LIMIT, stop, screenSize);
    co_return size.value_or(QSize());
}

Task<std::optional<QByteArray>> previewJPEG(QString file, int maxSide, double quality) {
    co_return co_await background([file, maxSide, quality] { return preview(file, maxSide, quality); });
}

} // namespace ombru::Screen
