#include "Compositor/PngFile.h"

#include "Compositor/CairoHandles.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace lumenwhirl {
namespace {

/// Cairo's layout of the pixels, over memory of ours.
std::vector<std::uint32_t> nativePixels(const Image& image) {
    std::vector<std::uint32_t> pixels(image.pixels.size() / 4);
    const std::uint8_t* in = image.pixels.data();
    for (std::uint32_t& pixel : pixels) {
        pixel = static_cast<std::uint32_t>(in[3]) << 24 | static_cast<std::uint32_t>(in[0]) << 16 |
                static_cast<std::uint32_t>(in[1]) << 8 | in[2];
        in += 4;
    }
    return pixels;
}

cairo_status_t append(void* closure, const unsigned char* data, unsigned int length) {
    static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
    return CAIRO_STATUS_SUCCESS;
}

std::string encodePng(const Image& image) {
    std::vector<std::uint32_t> pixels = nativePixels(image);
    const CairoSurface surface(cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(pixels.data()),
                                                                   CAIRO_FORMAT_ARGB32, image.width, image.height,
                                                                   image.width * 4));
    std::string bytes;
    const cairo_status_t status = cairo_surface_write_to_png_stream(surface.get(), append, &bytes);
    if (status != CAIRO_STATUS_SUCCESS) throw std::runtime_error(cairo_status_to_string(status));
    return bytes;
}

bool writeAll(int descriptor, const std::string& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t count = ::write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

}  // namespace

void writePng(const Image& image, const std::filesystem::path& file) {
    const auto fail = [&](const std::string& why) {
        throw std::runtime_error(file.string() + ": cannot write: " + why);
    };
    if (std::filesystem::is_directory(file)) fail("it is a folder; name a file");
    std::string bytes;
    try {
        bytes = encodePng(image);
    } catch (const std::runtime_error& error) {
        fail(error.what());
    }
    const std::string partial =
        (file.parent_path() / ("." + file.filename().string() + "." + std::to_string(::getpid()) + ".tmp"))
            .string();
    const int descriptor = ::open(partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0) fail(std::strerror(errno));
    bool written = writeAll(descriptor, bytes);
    int problem = errno;
    if (::close(descriptor) != 0 && written) {
        written = false;
        problem = errno;
    }
    if (written && ::rename(partial.c_str(), file.c_str()) != 0) {
        written = false;
        problem = errno;
    }
    if (written) return;
    ::unlink(partial.c_str());
    fail(std::strerror(problem));
}

}  // namespace lumenwhirl
