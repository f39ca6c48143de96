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

Result<Shot> shoot(const QString &path) {
    const auto taken = takeScreenshot(maxImageDim);
    if (!taken)
        return std::unexpected(taken.error());
    const auto png = encodePng(taken->picture);
    if (!png)
        return std::unexpected(
            Failure{QStringLiteral("screen"), 2, QStringLiteral("the picture could not be encoded")});
    // A directory that cannot be made shows when the file is written.
    QDir().mkpath(QFileInfo(path).path());
    const auto written = writeWholeFile(path, *png);
    if (!written)
        return std::unexpected(written.error());
    return Shot{path, {taken->picture.width, taken->picture.height}, taken->picture, taken->points};
}

std::optional<QByteArray> preview(const Picture &picture, int maxSide, double quality) {
    const QSize full(picture.width, picture.height);
    const bool large = std::max(full.width(), full.height()) > maxSide;
    return encodeJpeg(large ? scaled(picture, fitted(full, maxSide)) : picture, quality);
}

std::optional<QByteArray> preview(const QString &file, int maxSide, double quality) {
    const auto picture = readPng(file);
    return picture ? preview(*picture, maxSide, quality) : std::nullopt;
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
    const auto shot = co_await backgroundWithin(LIMIT, stop, [path] { return shoot(path); });
    if (shot && *shot)
        co_return **shot;
    if (!shot && stop.stop_requested())
        co_return std::unexpected(captureFailure());
    const QString cause = shot ? shot->error().description : QStringLiteral("the display does not answer");
    logger::error(QStringLiteral("screenshot: ") + cause);
    co_return std::unexpected(captureFailure());
}

Task<std::optional<QByteArray>> previewJPEG(Picture picture, int maxSide, double quality, std::stop_token stop) {
    const auto jpeg =
        co_await backgroundUntil(stop, [picture, maxSide, quality] { return preview(picture, maxSide, quality); });
    co_return jpeg.value_or(std::nullopt);
}

Task<std::optional<QByteArray>> previewJPEG(QString file, int maxSide, double quality) {
    co_return co_await background([file, maxSide, quality] { return preview(file, maxSide, quality); });
}

} // namespace ombru::Screen
