#include "picture/PictureFile.h"

#include <QFile>

#include <csetjmp>
#include <png.h>
#include <turbojpeg.h>
#include <zlib.h>

namespace ombru {
namespace {

constexpr int LONGEST_SIDE = 32767;
constexpr std::size_t MOST_PIXELS = 1 << 28;

void append(png_structp png, png_bytep bytes, std::size_t count) {
    static_cast<QByteArray *>(png_get_io_ptr(png))
        ->append(reinterpret_cast<const char *>(bytes), static_cast<qsizetype>(count));
}

void complain(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}

void ignore(png_structp, png_const_charp) {}

// libpng's errors jump back in here, over nothing that would have to be destroyed.
bool encodeRows(png_structp png, png_infop info, const Picture &picture, png_bytep row) {
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width), static_cast<png_uint_32>(picture.height), 8,
                 PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, Z_BEST_SPEED);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_set_compression_buffer_size(png, 1 << 16);
    png_write_info(png, info);
    for (int y = 0; y < picture.height; ++y) {
        png_bytep to = row;
        for (const std::uint32_t *pixel = picture.row(y), *end = pixel + picture.width; pixel != end; ++pixel) {
            *to++ = static_cast<png_byte>(*pixel >> 16);
            *to++ = static_cast<png_byte>(*pixel >> 8);
            *to++ = static_cast<png_byte>(*pixel);
        }
        png_write_row(png, row);
    }
    png_write_end(png, nullptr);
    return true;
}

} // namespace

std::optional<QByteArray> encodePng(const Picture &picture) {
    QByteArray out;
    std::vector<png_byte> row(static_cast<std::size_t>(picture.width) * 3);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, complain, ignore);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    bool whole = false;
    if (info) {
        png_set_write_fn(png, &out, append, nullptr);
        whole = encodeRows(png, info, picture, row.data());
    }
    png_destroy_write_struct(&png, &info);
    if (!whole)
        return std::nullopt;
    return out;
}

std::optional<QByteArray> encodeJpeg(const Picture &picture, double quality) {
    const std::unique_ptr<void, int (*)(tjhandle)> encoder(tjInitCompress(), tjDestroy);
    unsigned char *bytes = nullptr;
    unsigned long size = 0;
    const int percent = std::clamp(static_cast<int>(quality * 100 + 0.5), 1, 100);
    const bool encoded =
        encoder && picture.pixels &&
        tjCompress2(encoder.get(), reinterpret_cast<const unsigned char *>(picture.pixels.get()), picture.width, 0,
                    picture.height, TJPF_BGRX, &bytes, &size, TJSAMP_420, percent, TJFLAG_FASTDCT) == 0;
    std::optional<QByteArray> result;
    if (encoded)
        result.emplace(reinterpret_cast<const char *>(bytes), static_cast<qsizetype>(size));
    tjFree(bytes);
    return result;
}

std::optional<Picture> readPng(const QString &path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    const std::unique_ptr<png_image, void (*)(png_image *)> release(&image, png_image_free);
    if (!png_image_begin_read_from_file(&image, QFile::encodeName(path).constData()))
        return std::nullopt;
    const std::size_t count = static_cast<std::size_t>(image.width) * image.height;
    if (image.width > LONGEST_SIDE || image.height > LONGEST_SIDE || count > MOST_PIXELS)
        return std::nullopt;
    image.format = PNG_FORMAT_BGRA;
    const auto pixels = std::make_shared_for_overwrite<std::uint32_t[]>(count);
    if (!png_image_finish_read(&image, nullptr, pixels.get(), 0, nullptr))
        return std::nullopt;
    return Picture{static_cast<int>(image.width), static_cast<int>(image.height), pixels};
}

} // namespace ombru
