// The agent's eyes: a picture of the screen in a size that a model can read, and small previews of it.
// Main thread; the work is done in the background.
#pragma once
#include "agent/ToolFailure.h"
#include "base/Task.h"
#include "picture/Picture.h"

#include <QByteArray>
#include <QSize>
#include <QString>

#include <optional>
#include <stop_token>

namespace ombru::Screen {

constexpr int maxImageDim = 1568; // the longer side, in pixels, of a picture for the model

constexpr Clock::Duration LIMIT = std::chrono::seconds(15); // for a display that does not answer

constexpr int previewSide = 1280; // the longer side of a picture for the web page, at most
constexpr double previewQuality = 0.6;

// What the owner is told when there is no picture, and why.
ToolFailure captureFailure(const QString &cause = {});

// The cause when the display does not answer within LIMIT.
QString silentDisplay();

struct Shot {
    QString file;    // its path
    QSize size;      // in pixels, of the picture in the file
    Picture picture; // the same one in memory
    QSize points;    // the screen's, in the coordinates that a script clicks in; never empty
};

// Takes the primary monitor's picture for that step into the directory, which is made when it is missing. The longer
// side is always maxImageDim. Whatever goes wrong, the Failure is the same one, with the cause beside it, unless it was
// a stop; no part of a file is left behind.
Task<std::expected<Shot, ToolFailure>> capture(QString into, int step, std::stop_token stop = {});

// The picture as a JPEG whose longer side is at most maxSide; it never grows. `quality` from 0 to 1. None when it
// cannot be encoded, or a stop is asked for.
Task<std::optional<QByteArray>> previewJPEG(Picture picture, int maxSide = previewSide, double quality = previewQuality,
                                            std::stop_token stop = {});

// The same of a PNG file. None also when the file is missing, cut off or no picture.
Task<std::optional<QByteArray>> previewJPEG(QString file, int maxSide = previewSide, double quality = previewQuality);

} // namespace ombru::Screen
