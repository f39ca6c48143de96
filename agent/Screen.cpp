#include "agent/Screen.h"

#include "base/Background.h"
#include "base/Clock.h"
#include "base/WholeFile.h"
#include "picture/PictureFile.h"
#include "picture/Scale.h"
#include "platform/DesktopLock.h"
#include "platform/Screenshot.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace ombru::Screen {

using namespace Qt::StringLiterals;

namespace {

Failure withRemedy(Failure failure) {
    const auto &[domain, code, description] = failure;
    const bool full = code == ENOSPC || code == EDQUOT || code == EFBIG;
    failure.description = u"Its file could not be kept: %1. "_s.arg(description) +
                          (full ? u"Make room on that disk."_s : u"Make that directory yours to write in."_s);
    return failure;
}

Result<> makeDirectory(const QString &path) {
    std::error_code error;
    std::filesystem::create_directories(QFile::encodeName(path).toStdString(), error);
    if (!error)
        return {};
    return std::unexpected(withRemedy(
        {u"file"_s, error.value(), u"cannot make %1: %2"_s.arg(path, QString::fromStdString(error.message()))}));
}

Result<Shot> shoot(const QString &path) {
    const auto taken = takeScreenshot(maxImageDim);
    if (!taken)
        return std::unexpected(taken.error());
    const auto png = encodePng(taken->picture);
    if (!png)
        return std::unexpected(Failure{u"screen"_s, 2, u"The picture could not be encoded."_s});
    if (const auto made = makeDirectory(QFileInfo(path).path()); !made)
        return std::unexpected(made.error());
    const auto written = writeWholeFile(path, *png);
    if (!written)
        return std::unexpected(withRemedy(written.error()));
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

ToolFailure captureFailure(const QString &cause) {
    return {{u"screen"_s, 1,
             u"screenshot failed — give ombru Screen Recording permission (System Settings → Privacy & Security)"_s},
            cause};
}

QString silentDisplay() {
    return u"The display %1 does not answer: it hangs. Log out of the desktop and in again."_s.arg(desktopName());
}

Task<std::expected<Shot, ToolFailure>> capture(QString into, int step, std::stop_token stop) {
    const QString name = QString::asprintf("shot_%lld_%03d.png", static_cast<long long>(Clock::unixSeconds()), step);
    const QString path = QDir(into).filePath(name);
    const auto shot = co_await backgroundWithin(LIMIT, stop, [path] { return shoot(path); });
    if (shot && *shot)
        co_return **shot;
    if (stop.stop_requested())
        co_return std::unexpected(captureFailure());
    co_return std::unexpected(captureFailure(shot ? shot->error().description : silentDisplay()));
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
