#pragma once

#include "Compositor/RenderStyle.h"
#include "Engine/Documents/ProjectSettings.h"
#include "Engine/Geometry/Shapes.h"
#include "Engine/Motion/CameraModel.h"
#include "Engine/Motion/CursorState.h"
#include "Engine/Overlays/KeystrokeModel.h"
#include "Pixels/Picture.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumenwhirl {

/// All that a finished frame shows besides the recorded picture.
struct FrameState {
    CursorState cursor;
    double cursorSize = 1.5;            // 1: 3 % of the frame's short side
    std::optional<CameraState> camera;  // none: no zoom
    std::vector<KeyPill> keystrokes;
    std::string caption;  // empty: none
    CaptionStyle captionStyle;
    bool operator==(const FrameState&) const = default;
};

/// Draws finished frames: the recorded picture with ripples, cursor and zoom, caption and pills over it, cut to a
/// rounded rectangle on the styled canvas. One per preview or export, used by one thread at a time.
///
/// Every implementation draws the same frames; how it gets there, and what it remembers of earlier frames to do
/// less, is its own affair.
class FrameCompositor {
public:
    /// Ways to compose frames.
    enum class Implementation {
        planar,           // in video planes on the processor, with its best instructions
        planarReference,  // the same in plain C++, which defines the results
    };
    static constexpr std::array allImplementations{Implementation::planar, Implementation::planarReference};

    /// Finished frames will be of `format`: yuv420p8 or yuv422p10. `threads`: how many draw side by side, the
    /// caller's included, at least 1.
    [[nodiscard]] static std::unique_ptr<FrameCompositor> make(PixelFormat format, int threads = 1,
                                                               Implementation how = Implementation::planar);
    virtual ~FrameCompositor() = default;
    FrameCompositor(const FrameCompositor&) = delete;
    FrameCompositor& operator=(const FrameCompositor&) = delete;

    /// Draws what is the same in every frame. `canvas` and `content` (the recorded frame) in pixels, even. Call it
    /// when the style, the canvas or the recorded size changes, never per frame. Throws std::bad_alloc.
    virtual void prepare(const RenderStyle& style, Size canvas, Size content) = 0;

    /// The finished frame of a recorded picture of yuv420p8. Without a prepared style it has the picture's size
    /// and nothing round it. What shows the same as the frame before is that frame again. The compositor keeps
    /// what it was given and what it gave until the next call. Throws std::bad_alloc.
    [[nodiscard]] virtual Picture compose(const Picture& recorded, const FrameState& state) = 0;

protected:
    FrameCompositor() = default;
};

}  // namespace lumenwhirl
