#include "Lumenwhirl/Commands/InspectionReport.h"

#include "Lumenwhirl/Commands/JsonWriter.h"

#include <type_traits>
#include <variant>

namespace lumenwhirl {
namespace {

void writeSize(JsonWriter& json, Size size) {
    json.beginObject().member("width", size.width).member("height", size.height).endObject();
}

void writeTimeline(JsonWriter& json, const EditTimeline& timeline) {
    json.beginObject().member("outputDuration", timeline.outputDuration());
    json.member("sourceDuration", timeline.sourceDuration()).member("isIdentity", timeline.isIdentity());
    json.key("segments").beginArray();
    for (const EditTimeline::Segment& segment : timeline.segments()) {
        json.beginObject().member("outStart", segment.outStart).member("outEnd", segment.outEnd);
        json.member("srcStart", segment.srcStart).member("srcEnd", segment.srcEnd);
        json.member("rate", segment.rate).endObject();
    }
    json.endArray().endObject();
}

void writeZoomSegments(JsonWriter& json, std::span<const ZoomSegment> segments) {
    json.beginArray();
    for (const ZoomSegment& segment : segments) {
        json.beginObject().member("id", std::string_view(segment.id)).member("start", segment.start);
        json.member("end", segment.end)
            .member("level", segment.level)
            .member("manual", segment.manual)
            .endObject();
    }
    json.endArray();
}

void writeColor(JsonWriter& json, const Color& color) {
    json.beginArray().value(color.red).value(color.green).value(color.blue).value(color.alpha).endArray();
}

struct BackgroundWriter {
    JsonWriter& json;
    void operator()(const RenderStyle::Solid& solid) const {
        json.member("type", "solid").key("color");
        writeColor(json, solid.color);
    }
    void operator()(const RenderStyle::Gradient& gradient) const {
        json.member("type", "gradient").key("top");
        writeColor(json, gradient.top);
        json.key("bottom");
        writeColor(json, gradient.bottom);
    }
    void operator()(const RenderStyle::Picture& picture) const {
        json.member("type", "image").member("width", picture.image->width).member("height", picture.image->height);
    }
};

void writeRenderStyle(JsonWriter& json, const RenderStyle& style) {
    json.beginObject().member("paddingPx", style.paddingPx).member("cornerRadiusPx", style.cornerRadiusPx);
    json.key("background").beginObject();
    std::visit(BackgroundWriter{json}, style.background);
    json.endObject().key("shadow").beginObject().member("opacity", style.shadow.opacity);
    json.member("radius", style.shadow.radius).member("yOffset", style.shadow.yOffset).endObject().key("border");
    if (style.border) {
        json.beginObject().member("widthPx", style.border->widthPx).key("color");
        writeColor(json, style.border->color);
        json.endObject();
    } else {
        json.value(std::nullopt);
    }
    json.endObject();
}

void writeCursor(JsonWriter& json, const CursorState& cursor) {
    json.beginObject().member("x", cursor.position.x).member("y", cursor.position.y);
    json.member("opacity", cursor.opacity).key("ripples").beginArray();
    for (const Ripple& ripple : cursor.ripples) {
        json.beginObject().member("x", ripple.center.x).member("y", ripple.center.y);
        json.member("progress", ripple.progress).endObject();
    }
    json.endArray().endObject();
}

void writeState(JsonWriter& json, const FrameStates& states, double time, TimesAre timesAre) {
    const EditTimeline& timeline = states.timeline();
    const double outputTime = timesAre == TimesAre::output ? time : timeline.outputTimeForSource(time);
    const double sourceTime = timesAre == TimesAre::source ? time : timeline.sourceTimeForOutput(time);
    json.beginObject().member("outputTime", outputTime).member("sourceTime", sourceTime);
    json.member("rate", timeline.rateForOutput(outputTime)).member("skipTarget", timeline.skipTarget(sourceTime));
    json.key("cursor");
    writeCursor(json, states.cursor().state(sourceTime, true));
    const CameraState camera = states.camera().state(sourceTime);
    json.key("camera").beginObject().member("x", camera.center.x).member("y", camera.center.y);
    json.member("scale", camera.scale).endObject().key("pills").beginArray();
    for (const KeyPill& pill : states.keystrokes().pills(sourceTime))
        json.beginObject().member("text", std::string_view(pill.text)).member("opacity", pill.opacity).endObject();
    json.endArray().member("caption", states.captions().text(sourceTime)).endObject();
}

}  // namespace

std::string inspectionReport(const InspectedVideo& video, const FrameStates& states,
                             std::span<const ZoomSegment> autoSegments, std::span<const double> times,
                             TimesAre timesAre) {
    JsonWriter json(JsonWriter::Layout::indented);
    json.beginObject().key("video").beginObject().member("width", video.size.width);
    json.member("height", video.size.height)
        .member("fps", video.fps)
        .member("duration", video.duration)
        .endObject();
    json.key("canvas");
    writeSize(json, states.canvas());
    json.key("timeline");
    writeTimeline(json, states.timeline());
    json.key("autoSegments");
    writeZoomSegments(json, autoSegments);
    json.key("renderStyle");
    writeRenderStyle(json, states.renderStyle());
    json.key("states").beginArray();
    for (const double time : times) writeState(json, states, time, timesAre);
    return json.endArray().endObject().text();
}

}  // namespace lumenwhirl
