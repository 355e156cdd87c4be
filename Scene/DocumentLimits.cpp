#include "Scene/DocumentLimits.h"

#include "Scene/FrameStates.h"

#include <charconv>
#include <cmath>
#include <string>
#include <string_view>

namespace lumenwhirl::DocumentLimits {
namespace {

std::string numberText(double value) {
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return {text, result.ptr};
}

/// Where a value stands, put together only when it is needed: a log has hundreds of thousands of values.
struct Place {
    std::string_view document, list;
    std::size_t index = 0;
    std::string_view key;
    [[nodiscard]] std::string text() const {
        std::string path(document);
        path += ": ";
        path += list;
        if (!key.empty()) path += "[" + std::to_string(index) + "]." + std::string(key);
        return path;
    }
};

void checkMagnitude(double value, double most, const Place& place, std::string_view unit) {
    if (std::abs(value) <= most) return;
    throw FrameStates::Error(place.text() + ": " + numberText(value) + " is out of range; at most " +
                             numberText(most) + std::string(unit));
}

void checkTime(double seconds, const Place& place) {
    checkMagnitude(seconds, longestSeconds, place, " seconds");
}

template <class List>
void checkCount(const List& list, std::string_view key) {
    if (list.size() > mostEdits)
        throw FrameStates::Error("project.json: " + std::string(key) + ": " + std::to_string(list.size()) +
                                 " entries; at most " + std::to_string(mostEdits));
}

constexpr std::string_view project = "project.json", log = "events.json";
constexpr double farthestPixel = 1e6;

template <class Event>
void checkPlaces(const std::vector<Event>& events, std::string_view list) {
    for (std::size_t i = 0; i < events.size(); ++i) {
        checkTime(events[i].t, {log, list, i, "t"});
        checkMagnitude(events[i].x, farthestPixel, {log, list, i, "x"}, " pixels");
        checkMagnitude(events[i].y, farthestPixel, {log, list, i, "y"}, " pixels");
    }
}

template <class Range>
void checkRanges(const std::vector<Range>& ranges, std::string_view list) {
    checkCount(ranges, list);
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        checkTime(ranges[i].start, {project, list, i, "start"});
        checkTime(ranges[i].end, {project, list, i, "end"});
    }
}

}  // namespace

void check(const EventLog& events) {
    const DisplayInfo& display = events.recording.display;
    if (display.pointWidth < 16 || display.pointWidth > largestCanvasSide)
        throw FrameStates::Error("events.json: recording.display.pointWidth: a canvas " +
                                 std::to_string(display.pointWidth) + " pixels wide cannot be made; 16 to " +
                                 std::to_string(largestCanvasSide));
    checkPlaces(events.cursor, "cursor");
    checkPlaces(events.clicks, "clicks");
    checkPlaces(events.scroll, "scroll");
    for (std::size_t i = 0; i < events.keys.size(); ++i) checkTime(events.keys[i].t, {log, "keys", i, "t"});
}

void check(const ProjectSettings& settings) {
    const auto magnitude = [](double value, double most, std::string_view key, std::string_view unit) {
        checkMagnitude(value, most, {project, key, 0, {}}, unit);
    };
    const Timeline& timeline = settings.timeline;
    magnitude(timeline.duration, longestSeconds, "timeline.duration", " seconds");
    magnitude(timeline.trimStart, longestSeconds, "timeline.trimStart", " seconds");
    magnitude(timeline.trimEnd, longestSeconds, "timeline.trimEnd", " seconds");
    checkRanges(timeline.cuts, "timeline.cuts");
    checkRanges(timeline.speedRanges, "timeline.speedRanges");
    for (std::size_t i = 0; i < timeline.speedRanges.size(); ++i)
        checkMagnitude(timeline.speedRanges[i].rate, 1e6, {project, "timeline.speedRanges", i, "rate"}, "");
    checkRanges(settings.zoom.segments, "zoom.segments");
    for (std::size_t i = 0; i < settings.zoom.segments.size(); ++i)
        checkMagnitude(settings.zoom.segments[i].level, 100, {project, "zoom.segments", i, "level"}, "");
    magnitude(settings.zoom.defaultLevel, 100, "zoom.defaultLevel", "");
    magnitude(settings.cursor.size, 50, "cursor.size", "");
    magnitude(settings.cursor.autoHideIdle, 1e9, "cursor.autoHideIdle", " seconds");
    magnitude(settings.style.padding, 1e5, "style.padding", " pixels");
    magnitude(settings.style.cornerRadius, 1e5, "style.cornerRadius", " pixels");
    if (!settings.captions) return;
    checkRanges(settings.captions->cues, "captions.cues");
    for (std::size_t i = 0; i < settings.captions->cues.size(); ++i) {
        if (settings.captions->cues[i].text.size() > CaptionsModel::longestText)
            throw FrameStates::Error(Place{project, "captions.cues", i, "text"}.text() + ": longer than " +
                                     std::to_string(CaptionsModel::longestText) + " bytes; shorten it");
    }
    magnitude(settings.captions->style.size, 50, "captions.style.size", "");
}

}  // namespace lumenwhirl::DocumentLimits
