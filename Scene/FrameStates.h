#pragma once

#include "Compositor/FrameCompositor.h"
#include "Compositor/RenderStyle.h"
#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"
#include "Engine/Geometry/Size.h"
#include "Engine/Motion/CameraModel.h"
#include "Engine/Motion/CursorRenderModel.h"
#include "Engine/Overlays/CaptionsModel.h"
#include "Engine/Overlays/KeystrokeModel.h"
#include "Engine/Timeline/EditTimeline.h"

#include <stdexcept>
#include <vector>

namespace lumenwhirl {

/// The models of one recording as every finished frame uses them: export, stills and inspection alike. Built once,
/// then only read, from any thread.
class FrameStates {
public:
    /// A document asks for what no video can be made of (endless, or of absurd size). what() names the key.
    class Error : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };
    enum class Zoom { asProject, off };

    /// `contentSize` is the recorded frame in pixels. Where automatic zoom is on and the project has no segments,
    /// the generated ones are used. Throws Error.
    FrameStates(const EventLog& events, const ProjectSettings& settings, Size contentSize, Zoom zoom);

    /// The frame rate of an export, 24...60, for a track's nominal rate (0: unknown).
    [[nodiscard]] static int exportFrameRate(double nominalRate);
    /// Those the editor would generate for this log.
    [[nodiscard]] static std::vector<ZoomSegment> autoSegments(const EventLog& events, const ZoomSettings& zoom);

    /// What the frame at a source time shows, as far as the project has it switched on.
    [[nodiscard]] FrameState state(double sourceTime) const;

    [[nodiscard]] const EditTimeline& timeline() const noexcept { return timeline_; }
    [[nodiscard]] const CursorRenderModel& cursor() const noexcept { return cursor_; }
    [[nodiscard]] const CameraModel& camera() const noexcept { return camera_; }
    [[nodiscard]] const KeystrokeModel& keystrokes() const noexcept { return keystrokes_; }
    [[nodiscard]] const CaptionsModel& captions() const noexcept { return captions_; }
    [[nodiscard]] Size canvas() const noexcept { return canvas_; }            // pixels, even
    [[nodiscard]] Size contentSize() const noexcept { return contentSize_; }  // pixels
    [[nodiscard]] const Style& style() const noexcept { return style_; }
    /// The style made concrete for the canvas; loads a background image where there is one.
    [[nodiscard]] RenderStyle renderStyle() const;

private:
    Style style_;
    Size canvas_, contentSize_;
    EditTimeline timeline_;
    CursorStyle cursorStyle_;
    CursorRenderModel cursor_;
    CameraModel camera_;
    KeystrokeModel keystrokes_;
    CaptionsModel captions_;
    bool zooms_ = true, showsKeystrokes_ = false, showsCaptions_ = false;
    CaptionStyle captionStyle_;
};

}  // namespace lumenwhirl
