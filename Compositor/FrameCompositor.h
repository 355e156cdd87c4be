#pragma once

#include "Compositor/RenderStyle.h"
#include "Engine/Documents/ProjectSettings.h"
#include "Engine/Geometry/Size.h"
#include "Engine/Motion/CameraModel.h"
#include "Engine/Motion/CursorState.h"
#include "Engine/Overlays/KeystrokeModel.h"
#include "Pixels/Picture.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumenwhirl {

struct Kernels;

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
/// rounded rectangle on the styled canvas. Everything stays in video planes; artwork is drawn once and cached.
/// One per preview or export, used by one thread at a time. Recorded frames have 8 bits; finished frames are of
/// PictureFormat<Sample>.
template <class Sample>
class BasicFrameCompositor {
public:
    /// Draws bands of rows on up to `threads` threads, its own included (at least 1).
    explicit BasicFrameCompositor(int threads = 1);
    /// With given row kernels instead of the fastest; `kernels` must outlive the compositor.
    BasicFrameCompositor(int threads, const Kernels& kernels);
    ~BasicFrameCompositor();
    BasicFrameCompositor(BasicFrameCompositor&&) noexcept;
    BasicFrameCompositor& operator=(BasicFrameCompositor&&) noexcept;

    /// Draws what is the same in every frame. `canvas` and `contentSize` (the recorded frame) in pixels, even.
    /// Call when the style, the canvas or the recorded size changes, never per frame. Throws std::bad_alloc.
    void prepareStyle(const RenderStyle& style, Size canvas, Size contentSize);
    /// Fills a canvas-sized picture with what surrounds the video.
    void drawBase(const BasicPicture<Sample>& out) const;
    /// One finished frame into `out`, which must hold the base (drawBase, or an earlier frame of this style): only
    /// the video rectangle is written. Without a prepared style `out` has the frame's size and gets the content as
    /// it is.
    void render(const PictureView& frame, const FrameState& state, const BasicPicture<Sample>& out);
    /// The last call of renderChanges: the pixels of what it was given and of what it made.
    struct Previous {
        PictureView frame;
        BasicPicture<const Sample> finished;
    };
    /// As render, for one frame after the other: rows that `out` shows already are left alone, and those that the
    /// last finished frame shows are copied. `previous`: null for the first frame, and when those pixels are gone.
    /// `drawn`: which frame `out` shows, kept with it by the caller from call to call; 0 while it holds the base
    /// alone.
    void renderChanges(const PictureView& frame, const Previous* previous, const FrameState& state,
                       const BasicPicture<Sample>& out, std::int64_t& drawn);
    /// Ripples, cursor and camera alone, unstyled, into `out` of the frame's size.
    void composite(const PictureView& frame, const CursorState& cursor, double cursorSize,
                   const std::optional<CameraState>& camera, const BasicPicture<Sample>& out);

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};
using FrameCompositor = BasicFrameCompositor<std::uint8_t>;

}  // namespace lumenwhirl
