#include "Scene/FrameStates.h"

#include "Compositor/StyleResolver.h"
#include "Engine/Geometry/AspectRatio.h"
#include "Scene/BackgroundImage.h"
#include "Scene/DocumentLimits.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr double cursorFade = 0.4, zoomEase = 0.6;  // seconds
constexpr double pillHold = 1.2, pillFade = 0.4;    // seconds
constexpr int mostPills = 4;

template <class Document>
const Document& checked(const Document& document) {
    DocumentLimits::check(document);
    return document;
}

Size canvasFor(const EventLog& events, const Style& style) {
    const DisplayInfo& display = events.recording.display;
    return AspectRatio::fromString(style.aspect)
        .canvas({static_cast<double>(display.pointWidth), static_cast<double>(display.pointHeight)});
}

std::vector<ZoomSegment> segmentsFor(const EventLog& events, const ZoomSettings& zoom) {
    if (zoom.automatic && zoom.segments.empty()) return FrameStates::autoSegments(events, zoom);
    return zoom.segments;
}

}  // namespace

template <class Model, class Key>
template <class Build>
void FrameStates::Part<Model, Key>::update(Key wanted, Build&& build) {
    if (model && wanted == key) return;
    model = std::make_shared<const Model>(build(wanted));
    key = std::move(wanted);
}

FrameStates::FrameStates(const EventLog& events, const ProjectSettings& settings, Size contentSize, Zoom zoom)
    : contentSize_(contentSize),
      zooms_(zoom == Zoom::asProject),
      cursor_(checked(events), checked(settings).cursor, cursorFade, CursorRenderModel::defaultRippleDuration) {
    update(events, settings);
}

FrameStates FrameStates::with(const EventLog& events, const ProjectSettings& settings) const {
    FrameStates states = *this;
    states.cursor_ = cursor_.with(events, checked(settings).cursor);
    states.update(events, settings);
    return states;
}

/// All but the cursor, which the camera follows.
void FrameStates::update(const EventLog& events, const ProjectSettings& settings) {
    style_ = settings.style;
    canvas_ = canvasFor(events, style_);
    cursorStyle_ = settings.cursor;
    showsKeystrokes_ = settings.keystrokes && settings.keystrokes->enabled;
    showsCaptions_ = settings.captions && settings.captions->enabled;
    captionStyle_ = settings.captions ? settings.captions->style : CaptionStyle();

    timeline_.update(settings.timeline, [](const Timeline& timeline) { return EditTimeline(timeline); });
    camera_.update({segmentsFor(events, settings.zoom), AspectRatio::fromString(style_.aspect).zoomBias(),
                    cursor_.trajectory().data()},
                   [this](const CameraKey& key) {
                       return CameraModel(key.segments, cursor_, contentSize_, zoomEase, zoomEase, key.zoomBias);
                   });
    keystrokes_.update(settings.keystrokes && settings.keystrokes->showAllKeys, [&](bool showAllKeys) {
        return KeystrokeModel(events, showAllKeys, pillHold, pillFade, mostPills);
    });
    captions_.update(settings.captions ? settings.captions->cues : std::vector<CaptionCue>(),
                     [](const std::vector<CaptionCue>& cues) { return CaptionsModel(cues); });
}

int FrameStates::exportFrameRate(double nominalRate) {
    if (!(nominalRate > 0)) return 60;
    // The nominal rate is a single-precision number; halves round away from zero.
    return static_cast<int>(std::clamp(std::round(static_cast<float>(nominalRate)), 24.0F, 60.0F));
}

std::vector<ZoomSegment> FrameStates::autoSegments(const EventLog& events, const ZoomSettings& zoom) {
    return CameraModel::autoSegments(events.clicks, {.defaultLevel = zoom.defaultLevel});
}

FrameState FrameStates::state(double sourceTime) const {
    FrameState state;
    state.cursor = cursor_.state(sourceTime, cursorStyle_.clickRipples);
    state.cursorSize = cursorStyle_.size;
    if (zooms_) state.camera = camera().state(sourceTime);
    if (showsKeystrokes_) state.keystrokes = keystrokes().pills(sourceTime);
    if (showsCaptions_) state.caption = std::string(captions().text(sourceTime).value_or(std::string_view()));
    state.captionStyle = captionStyle_;
    return state;
}

RenderStyle FrameStates::renderStyle() const {
    return StyleResolver::resolve(style_, canvas_, loadBackgroundImage);
}

}  // namespace lumenwhirl
