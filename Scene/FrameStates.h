#pragma once

#include "Compositor/FrameCompositor.h"
#include "Compositor/RenderStyle.h"
#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"
#include "Engine/Geometry/Shapes.h"
#include "Engine/Motion/CameraModel.h"
#include "Engine/Motion/CursorRenderModel.h"
#include "Engine/Overlays/CaptionsModel.h"
#include "Engine/Overlays/KeystrokeModel.h"
#include "Engine/Timeline/EditTimeline.h"

#include <memory>
#include <stdexcept>
#include <vector>

namespace lumenwhirl {

/// The models of one recording as every finished frame uses them: preview, export, stills and inspection alike. A
/// value: built once, then only read, from any thread; copies share their models.
class FrameStates {
public:
    /// A document asks for a video that cannot be made, such as an endless one or one of absurd size. what() names
    /// the key.
    class Error : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };
    enum class Zoom { asProject, off };

    /// `contentSize` is the recorded frame in pixels. Where automatic zoom is on and the project has no segments,
    /// the generated ones are used. Throws Error.
    FrameStates(const EventLog& events, const ProjectSettings& settings, Size contentSize, Zoom zoom);

    /// The same recording under other settings of its project. Only models whose own settings changed are built
    /// anew; the others are shared. `events` is the log that these were built from. Throws Error.
    [[nodiscard]] FrameStates with(const EventLog& events, const ProjectSettings& settings) const;

    /// The frame rate of an export, 24...60, for a track's nominal rate (0: unknown).
    [[nodiscard]] static int exportFrameRate(double nominalRate);
    /// The segments that the editor would generate for this log.
    [[nodiscard]] static std::vector<ZoomSegment> autoSegments(const EventLog& events, const ZoomSettings& zoom);

    /// What the frame at a source time shows, as far as the project has it switched on.
    [[nodiscard]] FrameState state(double sourceTime) const;

    [[nodiscard]] const EditTimeline& timeline() const noexcept { return *timeline_.model; }
    [[nodiscard]] const CursorRenderModel& cursor() const noexcept { return cursor_; }
    [[nodiscard]] const CameraModel& camera() const noexcept { return *camera_.model; }
    [[nodiscard]] const KeystrokeModel& keystrokes() const noexcept { return *keystrokes_.model; }
    [[nodiscard]] const CaptionsModel& captions() const noexcept { return *captions_.model; }
    [[nodiscard]] Size canvas() const noexcept { return canvas_; }            // pixels, even
    [[nodiscard]] Size contentSize() const noexcept { return contentSize_; }  // pixels
    [[nodiscard]] const Style& style() const noexcept { return style_; }
    /// The style made concrete for the canvas; loads a background image where there is one.
    [[nodiscard]] RenderStyle renderStyle() const;

private:
    /// A model with the settings it was built from.
    template <class Model, class Key>
    struct Part {
        Key key;
        std::shared_ptr<const Model> model;
        /// Builds the model anew only if `wanted` differs from its key.
        template <class Build>
        void update(Key wanted, Build&& build);
    };
    struct CameraKey {
        std::vector<ZoomSegment> segments;
        double zoomBias = 1;
        const CursorSample* path = nullptr;  // of the cursor that the camera follows
        bool operator==(const CameraKey&) const = default;
    };

    void update(const EventLog& events, const ProjectSettings& settings);

    Style style_;
    Size canvas_, contentSize_;
    bool zooms_ = true, showsKeystrokes_ = false, showsCaptions_ = false;
    CursorStyle cursorStyle_;
    CaptionStyle captionStyle_;
    CursorRenderModel cursor_;
    Part<EditTimeline, Timeline> timeline_;
    Part<CameraModel, CameraKey> camera_;
    Part<KeystrokeModel, bool> keystrokes_;
    Part<CaptionsModel, std::vector<CaptionCue>> captions_;
};

}  // namespace lumenwhirl
