// Pictures as files: PNG written at speed and read back, JPEG made in memory. Blocking; any thread.
#pragma once
#include "picture/Picture.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace ombru {

// PNG with 8 bits a channel, quick to make: level 1, "sub" filter. None when the memory does not suffice.
std::optional<QByteArray> encodePng(const Picture &picture);

// `quality` from 0 to 1. None for an empty picture or one that JPEG cannot hold (a side over 65,535 pixels).
std::optional<QByteArray> encodeJpeg(const Picture &picture, double quality);

// None when the file is missing, is no PNG, is cut off, or has a side over 32,767 pixels or more than 2^28 of them.
// Transparency is dropped.
std::optional<Picture> readPng(const QString &path);

} // namespace ombru
