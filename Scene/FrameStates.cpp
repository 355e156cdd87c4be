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

FrameStates::FrameStates(const EventLog& events, const ProjectSettings& settings, Size contentSize, Zoom zoom)
    : style_(checked(settings).style),
      canvas_(canvasFor(checked(events), style_)),
      contentSize_(contentSize),
      timeline_(settings.timeline),
      cursorStyle_(settings.cursor),
      cursor_(events, settings.cursor, cursorFade, CursorRenderModel::defaultRippleDuration),
      camera_(segmentsFor(events, settings.zoom), cursor_, contentSize, zoomEase, zoomEase,
              AspectRatio::fromString(style_.aspect).zoomBias()),
      keystrokes_(events, settings.keystrokes && settings.keystrokes->showAllKeys, pillHold, pillFade, mostPills),
      captions_(settings.captions ? settings.captions->cues : std::vector<CaptionCue>()),
      zooms_(zoom == Zoom::asProject),
      showsKeystrokes_(settings.keystrokes && settings.keystrokes->enabled),
      showsCaptions_(settings.captions && settings.captions->enabled),
      captionStyle_(settings.captions ? settings.captions->style : CaptionStyle()) {}

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
    if (zooms_) state.camera = camera_.state(sourceTime);
    if (showsKeystrokes_) state.keystrokes = keystrokes_.pills(sourceTime);
    if (showsCaptions_) state.caption = std::string(captions_.text(sourceTime).value_or(std::string_view()));
    state.captionStyle = captionStyle_;
    return state;
}

RenderStyle FrameStates::renderStyle() const {
    return StyleResolver::resolve(style_, canvas_, loadBackgroundImage);
}

}  // namespace lumenwhirl
