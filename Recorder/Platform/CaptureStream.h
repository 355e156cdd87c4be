#pragma once

#include "Engine/Geometry/Shapes.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace lumenwhirl {

/// What a capture stream says about a frame. Only a complete one has a picture.
enum class FrameStatus {
    complete,   // has a picture to record, see CaptureStream
    idle,       // nothing changed
    blank,      // there is nothing to see, such as a window that was never shown
    suspended,  // the stream pauses
    started,    // the first after starting, without a picture
    stopped,    // the last
};

/// A frame of the captured area, valid while the handler runs.
struct CapturedFrame {
    FrameStatus status = FrameStatus::complete;
    double time = 0;  // host clock, when the picture was taken
    // Rows top-down; four bytes a pixel: blue, green, red and one unused. Full range, sRGB.
    const std::uint8_t* pixels = nullptr;
    std::ptrdiff_t stride = 0;  // bytes
    // Pixels. The target's size at the start, unless its window has been resized; then any size, also odd.
    int width = 0, height = 0;
    Point origin{};  // the captured area's top-left corner, in global points: windows move
    int missed = 0;  // pictures that were due between the last complete frame and this one, and were not taken
};

/// Delivers the frames of one display or window, at most 60 a second, without the system's cursor. A frame is
/// complete when the picture has changed, and also within `inputGrace` of the user's last input and of the start:
/// a moving cursor or a zoom over a still picture needs frames to be drawn on.
class CaptureStream {
public:
    static constexpr double inputGrace = 2.0;  // seconds
    using FrameHandler = std::function<void(const CapturedFrame&)>;
    using EndHandler = std::function<void(const std::string& reason)>;

    virtual ~CaptureStream() = default;
    /// Once. Both handlers are called on the stream's own thread, one at a time. The stream waits for a handler to
    /// return and then goes on with the newest picture. `ended`: the stream has ended by itself, because its
    /// window was closed, its display was unplugged or the server is gone, with a line of text that says so; no
    /// frame follows. Throws PlatformError.
    virtual void start(FrameHandler frame, EndHandler ended) = 0;
    /// Delivers a last complete frame, so that the recording lasts until now however still the screen was, and
    /// ends. No handler runs after it returns. Not from a handler. May be called again, and before start().
    virtual void stop() noexcept = 0;
};

}  // namespace lumenwhirl
