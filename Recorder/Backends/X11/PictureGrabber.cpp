#include "Recorder/Backends/X11/PictureGrabber.h"

#include <sys/mman.h>
#include <unistd.h>
#include <xcb/shm.h>

#include <utility>

namespace lumenwhirl {
namespace {

constexpr std::uint32_t allPlanes = ~0u;

}  // namespace

PictureGrabber::PictureGrabber(const X11Connection& connection, const X11Extensions& extensions)
    : connection_(connection), canShare_(extensions.hasSharedMemory && connection.isLocal()) {}

PictureGrabber::~PictureGrabber() {
    unshareMemory();
}

std::uint8_t PictureGrabber::grab(xcb_drawable_t drawable, const PixelRect& area) {
    const auto x = static_cast<std::int16_t>(area.x), y = static_cast<std::int16_t>(area.y);
    const auto width = static_cast<std::uint16_t>(area.width), height = static_cast<std::uint16_t>(area.height);
    const std::size_t sizeBytes = std::size_t{4} * width * height;
    std::uint8_t error = 0;
    if (shareMemory(sizeBytes)) {
        const auto cookie = xcb_shm_get_image(connection_, drawable, x, y, width, height, allPlanes,
                                              XCB_IMAGE_FORMAT_Z_PIXMAP, segment_, 0);
        if (connection_.reply(&xcb_shm_get_image_reply, cookie, &error))
            pixels_ = static_cast<const std::uint8_t*>(memory_);
    } else {
        const auto cookie =
            xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, x, y, width, height, allPlanes);
        auto image = connection_.reply(&xcb_get_image_reply, cookie, &error);
        if (image && static_cast<std::size_t>(xcb_get_image_data_length(image.get())) >= sizeBytes) {
            unshared_ = std::move(image);
            pixels_ = xcb_get_image_data(unshared_.get());
        } else if (image) {
            error = XCB_MATCH;
        }
    }
    return error;
}

/// Makes sure that memory of at least that size is shared. Passes a descriptor, not a System V segment's number,
/// which means nothing, or something else, to a server in another IPC namespace, as with containers.
bool PictureGrabber::shareMemory(std::size_t sizeBytes) {
    if (!canShare_ || capacity_ >= sizeBytes) return canShare_;
    if (capacity_ != 0) sizeBytes += sizeBytes / 2;  // a window may be growing step by step
    unshareMemory();
    const int file = memfd_create("picture", MFD_CLOEXEC);
    void* memory = MAP_FAILED;
    if (file >= 0 && ftruncate(file, static_cast<off_t>(sizeBytes)) == 0)
        memory = mmap(nullptr, sizeBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, file, 0);
    if (memory == MAP_FAILED) {
        if (file >= 0) close(file);
        return canShare_ = false;
    }
    memory_ = memory;
    capacity_ = sizeBytes;
    segment_ = connection_.newID();
    // The library closes the file once it has been sent.
    if (connection_.errorOf(xcb_shm_attach_fd_checked(connection_, segment_, file, 0)) != 0) {
        segment_ = 0;
        unshareMemory();
        canShare_ = false;
    }
    return canShare_;
}

void PictureGrabber::unshareMemory() noexcept {
    if (segment_ != 0) xcb_shm_detach(connection_, segment_);
    if (memory_ != nullptr) munmap(memory_, capacity_);
    segment_ = 0;
    memory_ = nullptr;
    pixels_ = nullptr;
    capacity_ = 0;
}

bool PictureGrabber::isReadable(const X11Connection& connection, xcb_visualid_t visual) {
    const xcb_setup_t* const setup = xcb_get_setup(connection);
    if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) return false;
    for (auto depths = xcb_screen_allowed_depths_iterator(&connection.screen()); depths.rem > 0;
         xcb_depth_next(&depths)) {
        for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0;
             xcb_visualtype_next(&visuals)) {
            const xcb_visualtype_t& type = *visuals.data;
            if (type.visual_id != visual) continue;
            if (type.red_mask != 0xff0000 || type.green_mask != 0xff00 || type.blue_mask != 0xff) return false;
            for (auto formats = xcb_setup_pixmap_formats_iterator(setup); formats.rem > 0;
                 xcb_format_next(&formats))
                if (formats.data->depth == depths.data->depth) return formats.data->bits_per_pixel == 32;
        }
    }
    return false;
}

}  // namespace lumenwhirl
