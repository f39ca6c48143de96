#include "platform/linux/x11/ScreenReader.h"

#include "base/Descriptor.h"

#include <array>
#include <bit>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <xcb/shm.h>

namespace ombru {
namespace {

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
    explicit SharedMemory(std::size_t size) : m_size(size), m_file(memfd_create("ombru-screen", MFD_CLOEXEC)) {
        if (!m_file.isOpen() || ftruncate(m_file.number(), static_cast<off_t>(size)) != 0)
            return;
        void *mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, m_file.number(), 0);
        m_bytes = mapped == MAP_FAILED ? nullptr : static_cast<std::uint8_t *>(mapped);
    }
    SharedMemory(const SharedMemory &) = delete;
    SharedMemory &operator=(const SharedMemory &) = delete;
    ~SharedMemory() {
        if (m_bytes)
            munmap(m_bytes, m_size);
    }
    const std::uint8_t *bytes() const { return m_bytes; } // null when there is no such memory
    int duplicate() const { return fcntl(m_file.number(), F_DUPFD_CLOEXEC, 0); }

private:
    std::size_t m_size;
    Descriptor m_file;
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

// What both ways of reading share.
class Reader : public ScreenReader {
public:
    Reader(const Display &display, const Format &format, QRect area, int rows)
        : m_connection(display.connection()), m_root(display.screen().root), m_format(format), m_area(area),
          m_rows(rows) {}

protected:
    // The next of two places that hold converted pixels.
    const std::uint32_t *converted(const std::uint8_t *bytes, int count) {
        auto &pixels = m_converted[m_next++ % 2];
        pixels.resize(static_cast<std::size_t>(m_area.width()) * m_rows);
        convert(bytes, m_format, m_area.width(), count, pixels.data());
        return pixels.data();
    }
    std::int16_t x() const { return static_cast<std::int16_t>(m_area.x()); }
    std::int16_t y(int row) const { return static_cast<std::int16_t>(m_area.y() + row); }
    std::uint16_t width() const { return static_cast<std::uint16_t>(m_area.width()); }

    xcb_connection_t *m_connection;
    xcb_window_t m_root;
    Format m_format;
    QRect m_area;
    int m_rows;

private:
    std::array<std::vector<std::uint32_t>, 2> m_converted;
    int m_next = 0;
};

// The server writes the pixels straight into memory of ours.
class SharedReader : public Reader {
public:
    SharedReader(const Display &display, const Format &format, QRect area, int rows)
        : Reader(display, format, area, rows), m_half(format.rowBytes(area.width()) * rows), m_memory(2 * m_half) {}

    bool attach() {
        const int file = m_memory.bytes() ? m_memory.duplicate() : -1;
        if (file < 0)
            return false;
        m_segment = xcb_generate_id(m_connection);
        const auto attached = xcb_shm_attach_fd_checked(m_connection, m_segment, file, 0); // closes the descriptor
        return !Reply<xcb_generic_error_t>(xcb_request_check(m_connection, attached));
    }

    void ask(int first, int count) override {
        const std::size_t place = m_half * (m_nextHalf++ % 2);
        m_asked.push_back(
            {xcb_shm_get_image(m_connection, m_root, x(), y(first), width(), static_cast<std::uint16_t>(count), ~0U,
                               XCB_IMAGE_FORMAT_Z_PIXMAP, m_segment, static_cast<std::uint32_t>(place)),
             place, count});
    }

    const std::uint32_t *take() override {
        const Asked asked = m_asked.front();
        m_asked.pop_front();
        const auto reply =
            Reply<xcb_shm_get_image_reply_t>(xcb_shm_get_image_reply(m_connection, asked.cookie, nullptr));
        if (!reply)
            return nullptr;
        const std::uint8_t *bytes = m_memory.bytes() + asked.place;
        if (m_format.isPicture())
            return reinterpret_cast<const std::uint32_t *>(bytes);
        return converted(bytes, asked.count);
    }

private:
    struct Asked {
        xcb_shm_get_image_cookie_t cookie;
        std::size_t place;
        int count;
    };
    std::size_t m_half; // bytes
    SharedMemory m_memory;
    xcb_shm_seg_t m_segment = 0; // goes with the connection
    int m_nextHalf = 0;
    std::deque<Asked> m_asked;
};

// The pixels come through the connection.
class SentReader : public Reader {
public:
    using Reader::Reader;

    void ask(int first, int count) override {
        m_asked.push_back({xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root, x(), y(first), width(),
                                         static_cast<std::uint16_t>(count), ~0U),
                           count});
    }

    const std::uint32_t *take() override {
        const Asked asked = m_asked.front();
        m_asked.pop_front();
        const auto reply = Reply<xcb_get_image_reply_t>(xcb_get_image_reply(m_connection, asked.cookie, nullptr));
        const auto size = static_cast<int>(m_format.rowBytes(m_area.width())) * asked.count;
        if (!reply || xcb_get_image_data_length(reply.get()) < size)
            return nullptr;
        return converted(xcb_get_image_data(reply.get()), asked.count);
    }

private:
    struct Asked {
        xcb_get_image_cookie_t cookie;
        int count;
    };
    std::deque<Asked> m_asked;
};

} // namespace

std::unique_ptr<ScreenReader> ScreenReader::make(const Display &display, QRect area, int rows) {
    const auto format = rootFormat(display);
    if (!format)
        return nullptr;
    if (canShareMemory(display)) {
        auto shared = std::make_unique<SharedReader>(display, *format, area, rows);
        if (shared->attach())
            return shared;
    }
    return std::make_unique<SentReader>(display, *format, area, rows);
}

} // namespace ombru
