#include "Compositor/PngFile.h"

#include "Compositor/CairoHandles.h"
#include "Files/AtomicFile.h"
#include "Files/FileError.h"

#include <string>

namespace lumenwhirl {
namespace {

/// In Cairo's layout.
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

std::string encodePng(const Image& image, const std::filesystem::path& file) {
    std::vector<std::uint32_t> pixels = nativePixels(image);
    const CairoSurface surface(cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(pixels.data()),
                                                                   CAIRO_FORMAT_ARGB32, image.width, image.height,
                                                                   image.width * 4));
    std::string bytes;
    const cairo_status_t status = cairo_surface_write_to_png_stream(surface.get(), append, &bytes);
    if (status != CAIRO_STATUS_SUCCESS)
        throw FileError(file, std::string("cannot write: ") + cairo_status_to_string(status));
    return bytes;
}

}  // namespace

void writePng(const Image& image, const std::filesystem::path& file) {
    AtomicFile png(file, AtomicFile::Access::umask);
    png.write(encodePng(image, file));
    png.commit(AtomicFile::Durability::none);
}

}  // namespace lumenwhirl
