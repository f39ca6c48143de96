#include "platform/Screenshot.h"

#include "platform/linux/Display.h"

#include <bit>
#include <cstring>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <xcb/shm.h>

namespace ombru {
namespace {

constexpr std::size_t BAND_BYTES = 8 << 20; // of one reply when pixels travel through the connection

Failure failed(const QString &what) {
    return {QStringLiteral("screenshot"), 1, what};
}

Failure displayGone() {
    return failed(QStringLiteral("The display went away while its picture was taken."));
}

// How the server writes down a pixel of the root window.
struct Format {
    int bits = 0;   // of one pixel: 16, 24 or 32
    int rowPad = 0; // bits each row is padded to
    bool bigEndian = false;
    std::uint32_t red = 0, green = 0, blue = 0; // masks

    std::size_t rowBytes(int width) const {
        return (static_cast<std::size_t>(width) * bits + rowPad - 1) / rowPad * rowPad / 8;
    }
    bool isPicture() const {
        return bits == 32 && bigEndian == (std::endian::native == std::endian::big) && red == 0xff0000 &&
               green == 0xff00 && blue == 0xff;
    }
};

std::optional<Format> rootFormat(const Display &display) {
    const auto *setup = xcb_get_setup(display.connection());
    Format format;
    format.bigEndian = setup->image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST;
    for (auto f = xcb_setup_pixmap_formats_iterator(setup); f.rem > 0; xcb_format_next(&f)) {
        if (f.data->depth == display.screen().root_depth) {
            format.bits = f.data->bits_per_pixel;
            format.rowPad = f.data->scanline_pad;
        }
    }
    for (auto depth = xcb_screen_allowed_depths_iterator(&display.screen()); depth.rem > 0; xcb_depth_next(&depth)) {
        for (auto v = xcb_depth_visuals_iterator(depth.data); v.rem > 0; xcb_visualtype_next(&v)) {
            if (v.data->visual_id == display.screen().root_visual && v.data->_class >= XCB_VISUAL_CLASS_TRUE_COLOR) {
                format.red = v.data->red_mask;
                format.green = v.data->green_mask;
                format.blue = v.data->blue_mask;
            }
        }
    }
    const bool known = format.bits == 16 || format.bits == 24 || format.bits == 32;
    if (!known || format.rowPad == 0 || !format.red || !format.green || !format.blue)
        return std::nullopt;
    return format;
}

// The part of a pixel under a mask, as a value up to 255.
std::uint32_t channel(std::uint32_t pixel, std::uint32_t mask) {
    const std::uint64_t top = mask >> std::countr_zero(mask);
    const std::uint64_t value = (pixel & mask) >> std::countr_zero(mask);
    return static_cast<std::uint32_t>((value * 255 + top / 2) / top);
}

std::uint32_t pixelAt(const std::uint8_t *at, const Format &format) {
    const int bytes = format.bits / 8;
    std::uint32_t value = 0;
    for (int i = 0; i < bytes; ++i)
        value |= static_cast<std::uint32_t>(at[i]) << 8 * (format.bigEndian ? bytes - 1 - i : i);
    return value;
}

void convert(const std::uint8_t *from, const Format &format, int width, int rows, std::uint32_t *to) {
    const std::size_t rowBytes = format.rowBytes(width);
    for (int y = 0; y < rows; ++y, from += rowBytes, to += width) {
        if (format.isPicture()) {
            std::memcpy(to, from, static_cast<std::size_t>(width) * 4);
            continue;
        }
        for (int x = 0; x < width; ++x) {
            const std::uint32_t pixel = pixelAt(from + static_cast<std::size_t>(x) * format.bits / 8, format);
            to[x] = channel(pixel, format.red) << 16 | channel(pixel, format.green) << 8 | channel(pixel, format.blue);
        }
    }
}

// Memory without a name that two processes can map: it cannot outlive them, however they end.
class SharedMemory {
public:
    explicit SharedMemory(std::size_t size) : m_size(size) {
        m_file = memfd_create("ombru-screen", MFD_CLOEXEC);
        if (m_file < 0 || ftruncate(m_file, static_cast<off_t>(size)) != 0)
            return;
        void *mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, m_file, 0);
        m_bytes = mapped == MAP_FAILED ? nullptr : static_cast<std::uint8_t *>(mapped);
    }
    SharedMemory(const SharedMemory &) = delete;
    SharedMemory &operator=(const SharedMemory &) = delete;
    ~SharedMemory() {
        if (m_bytes)
            munmap(m_bytes, m_size);
        if (m_file >= 0)
            close(m_file);
    }
    const std::uint8_t *bytes() const { return m_bytes; } // null when there is no such memory
    int takeFile() { return std::exchange(m_file, -1); }

private:
    std::size_t m_size;
    int m_file = -1;
    std::uint8_t *m_bytes = nullptr;
};

// A display on another machine can share no memory with us, and its connection can carry no descriptor.
bool canShareMemory(const Display &display) {
    sockaddr_storage peer{};
    socklen_t length = sizeof peer;
    const int socket = xcb_get_file_descriptor(display.connection());
    if (getpeername(socket, reinterpret_cast<sockaddr *>(&peer), &length) != 0 || peer.ss_family != AF_UNIX)
        return false;
    const auto *shm = xcb_get_extension_data(display.connection(), &xcb_shm_id);
    if (!shm || !shm->present)
        return false;
    const auto version = Reply<xcb_shm_query_version_reply_t>(
        xcb_shm_query_version_reply(display.connection(), xcb_shm_query_version(display.connection()), nullptr));
    return version && (version->major_version > 1 || (version->major_version == 1 && version->minor_version >= 2));
}

// The server writes the pixels straight into memory of ours; null when it cannot.
Picture sharedPicture(const Display &display, const Format &format, QRect area) {
    if (!canShareMemory(display))
        return {};
    auto *connection = display.connection();
    const auto memory = std::make_shared<SharedMemory>(format.rowBytes(area.width()) * area.height());
    if (!memory->bytes())
        return {};
    const auto segment = xcb_generate_id(connection);
    xcb_shm_attach_fd(connection, segment, memory->takeFile(), 0); // closes the descriptor
    const auto shot = Reply<xcb_shm_get_image_reply_t>(xcb_shm_get_image_reply(
        connection,
        xcb_shm_get_image(connection, display.screen().root, static_cast<std::int16_t>(area.x()),
                          static_cast<std::int16_t>(area.y()), static_cast<std::uint16_t>(area.width()),
                          static_cast<std::uint16_t>(area.height()), ~0U, XCB_IMAGE_FORMAT_Z_PIXMAP, segment, 0),
        nullptr));
    if (!shot)
        return {};
    if (format.isPicture() && format.rowBytes(area.width()) == static_cast<std::size_t>(area.width()) * 4)
        return {area.width(), area.height(), {memory, reinterpret_cast<const std::uint32_t *>(memory->bytes())}};
    const auto pixels =
        std::make_shared_for_overwrite<std::uint32_t[]>(static_cast<std::size_t>(area.width()) * area.height());
    convert(memory->bytes(), format, area.width(), area.height(), pixels.get());
    return {area.width(), area.height(), pixels};
}

// The pixels come through the connection, some rows at a time.
Result<Picture> sentPicture(const Display &display, const Format &format, QRect area) {
    const std::size_t rowBytes = format.rowBytes(area.width());
    const int band = std::max(1, static_cast<int>(BAND_BYTES / rowBytes));
    const auto pixels =
        std::make_shared_for_overwrite<std::uint32_t[]>(static_cast<std::size_t>(area.width()) * area.height());
    for (int y = 0; y < area.height(); y += band) {
        const int rows = std::min(band, area.height() - y);
        const auto shot = Reply<xcb_get_image_reply_t>(xcb_get_image_reply(
            display.connection(),
            xcb_get_image(display.connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, display.screen().root,
                          static_cast<std::int16_t>(area.x()), static_cast<std::int16_t>(area.y() + y),
                          static_cast<std::uint16_t>(area.width()), static_cast<std::uint16_t>(rows), ~0U),
            nullptr));
        if (!shot || static_cast<std::size_t>(xcb_get_image_data_length(shot.get())) < rowBytes * rows)
            return std::unexpected(displayGone());
        convert(xcb_get_image_data(shot.get()), format, area.width(), rows,
                pixels.get() + static_cast<std::size_t>(y) * area.width());
    }
    return Picture{area.width(), area.height(), pixels};
}

} // namespace

Result<Picture> takeScreenshot() {
    const auto display = Display::open();
    if (!display)
        return std::unexpected(display.error());
    if (display->isWaylandGuest())
        return std::unexpected(failed(
            QStringLiteral("In a Wayland session the screen cannot be read this way. Log in to a session on X11.")));
    const auto format = rootFormat(*display);
    if (!format)
        return std::unexpected(failed(
            QStringLiteral("The display has a pixel format without true colours; use one with 16 bits or more.")));
    const QRect area = display->primaryMonitor();
    if (area.isEmpty())
        return std::unexpected(displayGone());
    if (const Picture picture = sharedPicture(*display, *format, area); picture.pixels)
        return picture;
    return sentPicture(*display, *format, area);
}

QSize screenSize() {
    const auto display = Display::open();
    return display ? display->primaryMonitor().size() : QSize();
}

} // namespace ombru
