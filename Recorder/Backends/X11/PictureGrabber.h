#pragma once

#include "Recorder/Backends/X11/Monitors.h"
#include "Recorder/Backends/X11/X11Connection.h"

#include <cstddef>
#include <cstdint>

namespace lumenwhirl {

/// Reads pictures from the server, into memory shared with it if possible, else through the connection. Measured
/// for 1080p: 0.7 ms and 1.8 ms.
class PictureGrabber {
public:
    PictureGrabber(const X11Connection& connection, const X11Extensions& extensions);
    ~PictureGrabber();
    PictureGrabber(const PictureGrabber&) = delete;
    PictureGrabber& operator=(const PictureGrabber&) = delete;

    /// Reads a part of a drawable whose visual isReadable(). Blocks. Returns 0, or the X error that says why there
    /// is no picture: BadMatch if the area is not inside the drawable.
    [[nodiscard]] std::uint8_t grab(xcb_drawable_t drawable, const PixelRect& area);
    /// The last picture, as CapturedFrame describes it, with rows of 4 * width bytes; null if there is none. The
    /// next grab() may move or lose it, even if it fails.
    [[nodiscard]] const std::uint8_t* pixels() const noexcept { return pixels_; }

    /// Whether pixels of that visual are four bytes: blue, green, red and one unused.
    [[nodiscard]] static bool isReadable(const X11Connection& connection, xcb_visualid_t visual);

private:
    [[nodiscard]] bool shareMemory(std::size_t sizeBytes);
    void unshareMemory() noexcept;

    const X11Connection& connection_;
    bool canShare_;
    std::uint32_t segment_ = 0;  // the server's name for the shared memory
    void* memory_ = nullptr;
    std::size_t capacity_ = 0;                   // bytes
    XcbHandle<xcb_get_image_reply_t> unshared_;  // holds the picture where memory is not shared
    const std::uint8_t* pixels_ = nullptr;
};

}  // namespace lumenwhirl
