#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/JsonWriter.h"
#include "Lumenwhirl/Commands/Options.h"
#include "Lumenwhirl/Commands/Terminal.h"
#include "Lumenwhirl/Session/Export.h"
#include "Media/VideoReader.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <span>
#include <variant>

namespace lumenwhirl {
namespace {

struct InspectedVideo {
    Size size;            // pixels
    int fps = 60;         // of an export
    double duration = 0;  // seconds
};

enum class TimesAre { output, source };

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

/// Everything the models say, as indented JSON; one state for each of `times`, in their order.
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

/// A package without a video is inspected as if its display had been recorded.
InspectedVideo videoOf(const LumenwhirlPackage& package, const EventLog& events, const ProjectSettings& project) {
    std::error_code error;
    const bool hasVideo = std::filesystem::exists(std::filesystem::symlink_status(package.recordingURL(), error));
    if (!hasVideo) {
        const DisplayInfo& display = events.recording.display;
        return {{static_cast<double>(display.pixelWidth), static_cast<double>(display.pixelHeight)},
                FrameStates::exportFrameRate(0),
                project.timeline.duration};
    }
    const VideoReader reader(package.recordingURL());
    const VideoInfo& info = reader.info();
    return {{static_cast<double>(info.width), static_cast<double>(info.height)},
            FrameStates::exportFrameRate(info.frameRate),
            info.duration};
}

/// `lumenwhirl inspect`: what the models say about a recording.
class InspectCommand final : public Command {
public:
    explicit InspectCommand(CLI::App& parser) : Command(parser) {
        Options::addPackage(parser, package_);
        Options::addNumbers(parser, "--at", times_,
                            "Show the state at this time of the finished video, in seconds; may be repeated")
            ->option_text("T");
        parser.add_flag("--source", timesAreSource_, "The times are those of the recording, before any edit");
        parser.footer(
            "Example:\n"
            "  lumenwhirl inspect Demo.lumenwhirl --at 1.5 --at 3");
    }

    void run() override {
        const LumenwhirlPackage package = openPackage(package_);
        const EventLog events = package.readEvents();
        const ProjectSettings project = package.readProject();
        const InspectedVideo video = videoOf(package, events, project);
        const FrameStates states =
            Session::frameStates(package, events, project, video.size, FrameStates::Zoom::asProject);
        std::puts(inspectionReport(video, states, FrameStates::autoSegments(events, project.zoom), times_,
                                   timesAreSource_ ? TimesAre::source : TimesAre::output)
                      .c_str());
    }

private:
    std::string package_;
    std::vector<double> times_;
    bool timesAreSource_ = false;
};

}  // namespace

std::unique_ptr<Command> makeInspectCommand(CLI::App& parser) {
    return std::make_unique<InspectCommand>(parser);
}

}  // namespace lumenwhirl
