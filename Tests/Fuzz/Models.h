#pragma once

#include "Compositor/StyleResolver.h"
#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/LumenwhirlJSON.h"
#include "Engine/Documents/ProjectSettings.h"
#include "Scene/FrameStates.h"
#include "Tests/Fuzz/Require.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumenwhirl::fuzz {

/// Of a document's times, in seconds; the simulations take time and memory with the length of a recording, up to
/// the two days that are allowed, and a fuzzer has many inputs to try.
inline constexpr double longest = 120;

template <class Events>
[[nodiscard]] bool areShort(const Events& events) {
    return std::all_of(events.begin(), events.end(),
                       [](const auto& event) { return std::abs(event.t) <= longest; });
}
template <class Ranges>
[[nodiscard]] bool areRangesShort(const Ranges& ranges) {
    return std::all_of(ranges.begin(), ranges.end(), [](const auto& range) {
        return std::abs(range.start) <= longest && std::abs(range.end) <= longest;
    });
}
[[nodiscard]] inline bool isShort(const EventLog& events) {
    return areShort(events.cursor) && areShort(events.clicks) && areShort(events.scroll) && areShort(events.keys);
}
[[nodiscard]] inline bool isShort(const ProjectSettings& project) {
    return std::abs(project.timeline.duration) <= longest && std::abs(project.timeline.trimStart) <= longest &&
           std::abs(project.timeline.trimEnd) <= longest && areRangesShort(project.timeline.cuts) &&
           areRangesShort(project.timeline.speedRanges) && areRangesShort(project.zoom.segments) &&
           (!project.captions || areRangesShort(project.captions->cues));
}

/// Seconds: the largest rounding error of times within the bounds above at the highest rate allowed.
inline constexpr double rounding = 1e-6;

inline void checkTimeline(const EditTimeline& timeline) {
    require(!timeline.segments().empty(), "a timeline has a segment");
    double outEnd = 0, srcEnd = timeline.firstSourceStart();
    for (const EditTimeline::Segment& segment : timeline.segments()) {
        require(segment.outStart == outEnd, "segments follow each other without a gap");
        require(segment.outEnd >= segment.outStart && segment.srcEnd >= segment.srcStart, "segments go forward");
        require(segment.srcStart >= srcEnd, "segments are in the order of the recording");
        require(segment.rate >= EditTimeline::minimumRate, "no segment is slower than the slowest rate");
        outEnd = segment.outEnd;
        srcEnd = segment.srcEnd;
    }
    require(outEnd == timeline.outputDuration(), "the last segment ends the output");
    double previous = timeline.firstSourceStart();
    for (int i = 0; i <= 8; ++i) {
        const double source = timeline.sourceTimeForOutput(timeline.outputDuration() * i / 8);
        require(source >= previous - rounding, "later output shows later source");
        require(source <= timeline.lastSourceEnd() + rounding, "the output ends with the last segment");
        previous = source;
    }
}

inline void checkFrame(const FrameStates& states, double time) {
    const FrameState state = states.state(time);
    for (const KeyPill& pill : state.keystrokes)
        require(pill.opacity >= 0 && pill.opacity <= 1, "a pill's opacity is a share");
    if (state.camera) {
        require(std::isfinite(state.camera->scale), "the camera's scale is a number");
        require(std::isfinite(state.camera->center.x) && std::isfinite(state.camera->center.y),
                "the camera is somewhere");
    }
}

/// Builds every model of a recording and asks each for a few moments.
inline void checkModels(const EventLog& events, const ProjectSettings& project) {
    if (!isShort(events) || !isShort(project)) return;
    std::optional<FrameStates> states;
    try {
        states.emplace(events, project, Size{640, 360}, FrameStates::Zoom::asProject);
    } catch (const FrameStates::Error&) {
        return;
    }
    checkTimeline(states->timeline());
    for (const double time : {-1e9, -1.0, 0.0, 0.25, 1.0, 2.5, longest, 1e9}) checkFrame(*states, time);
    for (const auto& event : events.clicks) checkFrame(*states, event.t);
    for (const auto& event : events.keys) checkFrame(*states, event.t);
    static_cast<void>(StyleResolver::resolve(project.style, states->canvas()));  // reads no files
}

/// Decodes a document; if that succeeds, encoding and decoding it again must give the same.
template <class Document>
[[nodiscard]] std::optional<Document> decodeAndRepeat(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const auto document = LumenwhirlJSON::decode<Document>(text);
        text = LumenwhirlJSON::encode(document);
        require(LumenwhirlJSON::decode<Document>(text) == document, "a written document reads as it was");
        return document;
    } catch (const LumenwhirlJSON::Error& error) {
        require(std::string_view(error.what()).find('\n') == std::string_view::npos, "an error is one line");
        return std::nullopt;
    }
}

}  // namespace lumenwhirl::fuzz
