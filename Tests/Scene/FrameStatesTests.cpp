#include "Scene/DocumentLimits.h"
#include "Scene/FrameStates.h"
#include "Tests/Exporter/Recordings.h"

#include <cmath>
#include <functional>
#include <limits>
#include <string_view>

namespace lumenwhirl {
namespace {

using recordings::plainProject;
using recordings::quietLog;

constexpr Size content{160, 90};

FrameStates statesOf(const EventLog& events, const ProjectSettings& settings,
                     FrameStates::Zoom zoom = FrameStates::Zoom::asProject) {
    return {events, settings, content, zoom};
}

TEST(FrameRate, ofAnExportIsTheRecordingsWithinReason) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    // 24.5 also as tracks state it, in single precision.
    const std::pair<double, int> rates[] = {{0, 60},      {-1, 60},   {nan, 60},   {0.2, 24},
                                            {23.976, 24}, {24.5, 25}, {29.97, 30}, {59.4, 59},
                                            {60, 60},     {120, 60},  {1e300, 60}, {24.49999999999, 25}};
    for (const auto& [nominal, expected] : rates)
        EXPECT_EQ(FrameStates::exportFrameRate(nominal), expected) << nominal;
}

TEST(FrameStatesZoom, isTheProjectsOwnElseAutomaticElseNone) {
    EventLog events = quietLog();
    events.cursor = {{0, 80, 45}, {10, 80, 45}};
    events.clicks = {{.t = 5, .x = 80, .y = 45}};
    ProjectSettings settings = plainProject(10);
    settings.style.aspect = "16:9";
    settings.zoom = {.automatic = true, .defaultLevel = 3, .segments = {}};
    EXPECT_NEAR(statesOf(events, settings).state(5).camera->scale, 3, 1e-9);
    EXPECT_EQ(statesOf(events, settings, FrameStates::Zoom::off).state(5).camera, std::nullopt);

    settings.zoom.segments = {{.id = "mine", .start = 7, .end = 9, .level = 2, .manual = true}};
    EXPECT_EQ(statesOf(events, settings).state(5).camera->scale, 1);
    EXPECT_NEAR(statesOf(events, settings).state(8).camera->scale, 2, 1e-9);
    settings.style.aspect = "9:16";  // brings the camera closer by 1.4: 1 + (2 - 1) * 1.4
    EXPECT_NEAR(statesOf(events, settings).state(8).camera->scale, 2.4, 1e-9);

    settings.zoom.automatic = false;
    settings.zoom.segments.clear();
    EXPECT_EQ(statesOf(events, settings).state(5).camera->scale, 1);
}

TEST(FrameStatesOverlays, areThereWhenTheProjectHasThemSwitchedOn) {
    EventLog events = quietLog();
    for (int i = 0; i < 6; ++i)
        events.keys.push_back({1 + 0.01 * i, 0, std::string(1, static_cast<char>('a' + i)), {"cmd"}, false});
    ProjectSettings settings = plainProject(10);
    EXPECT_TRUE(statesOf(events, settings).state(2).keystrokes.empty());
    EXPECT_EQ(statesOf(events, settings).state(2).caption, "");

    settings.keystrokes = KeystrokeSettings{.enabled = false, .showAllKeys = true};
    settings.captions = CaptionSettings{.enabled = false, .cues = {{1, 3, "Hello"}}, .style = {}};
    settings.captions->style.position = "top";
    EXPECT_TRUE(statesOf(events, settings).state(2).keystrokes.empty());
    EXPECT_EQ(statesOf(events, settings).state(2).caption, "");

    settings.keystrokes->enabled = settings.captions->enabled = true;
    const FrameStates states = statesOf(events, settings);
    const FrameState state = states.state(2);
    ASSERT_EQ(state.keystrokes.size(), 4U);  // the newest four
    EXPECT_EQ(state.keystrokes.back(), (KeyPill{"⌘F", 1}));
    EXPECT_EQ(state.caption, "Hello");
    EXPECT_EQ(state.captionStyle.position, "top");
    EXPECT_EQ(states.state(3.5).caption, "");
    // The first key's pill is held for 1.2 s, then fades within 0.4 s: half gone at 1.4 s.
    EXPECT_NEAR(states.state(1.03 + 1.4).keystrokes[1].opacity, 0.5, 0.06);
    EXPECT_TRUE(states.state(3).keystrokes.empty());
}

TEST(FrameStatesCursor, showsRipplesAndHidesAsTheProjectSays) {
    EventLog events = quietLog();
    events.cursor = {{0, 10, 10}, {1, 80, 45}};
    events.clicks = {{.t = 1, .x = 80, .y = 45}};
    ProjectSettings settings = plainProject(10);
    settings.cursor = {.smoothing = CursorSmoothing::off, .size = 2, .autoHideIdle = 1, .clickRipples = true};
    const FrameState state = statesOf(events, settings).state(1.3);
    EXPECT_EQ(state.cursorSize, 2);
    EXPECT_EQ(state.cursor.position, (Point{80, 45}));
    ASSERT_EQ(state.cursor.ripples.size(), 1U);
    EXPECT_NEAR(state.cursor.ripples.front().progress, 0.5, 1e-9);                 // 0.3 of 0.6 s
    EXPECT_NEAR(statesOf(events, settings).state(2.2).cursor.opacity, 0.5, 1e-9);  // 0.2 of 0.4 s after 1 s idle
    settings.cursor.clickRipples = false;
    EXPECT_TRUE(statesOf(events, settings).state(1.3).cursor.ripples.empty());
}

TEST(FrameStatesCanvas, hasTheProjectsShapeOrWideForAnUnknownOne) {
    ProjectSettings settings = plainProject(1);
    for (const auto& [aspect, size] : std::vector<std::pair<std::string, Size>>{
             {"16:9", {160, 90}}, {"1:1", {160, 160}}, {"9:16", {90, 160}}, {"4:3", {160, 90}}, {"", {160, 90}}}) {
        settings.style.aspect = aspect;
        EXPECT_EQ(statesOf(quietLog(), settings).canvas(), size) << aspect;
    }
}

/// What is said of a document, or nothing where it is accepted.
std::string refusal(const EventLog& events, const ProjectSettings& settings) {
    try {
        static_cast<void>(statesOf(events, settings));
    } catch (const FrameStates::Error& error) {
        return error.what();
    }
    return "";
}

TEST(DocumentLimits, refuseWhatNoVideoCanBeMadeOfAndSayWhereItStands) {
    EventLog log;
    ProjectSettings project;
    const std::vector<std::pair<std::function<void()>, std::string>> faults{
        {[&] { log.recording.display.pointWidth = 100'000; }, "events.json: recording.display.pointWidth"},
        {[&] { log.recording.display.pointWidth = 0; }, "events.json: recording.display.pointWidth"},
        {[&] { log.recording.display.pointWidth = -1920; }, "events.json: recording.display.pointWidth"},
        {[&] { log.cursor[5].t = 1e12; }, "events.json: cursor[5].t"},
        {[&] { log.cursor[7].x = -1e300; }, "events.json: cursor[7].x"},
        {[&] { log.clicks[1].y = 1e7; }, "events.json: clicks[1].y"},
        {[&] { log.scroll[0].t = -1e9; }, "events.json: scroll[0].t"},
        {[&] { log.keys[1].t = 1e300; }, "events.json: keys[1].t"},
        {[&] { project.timeline.duration = 1e300; }, "project.json: timeline.duration"},
        {[&] { project.timeline.duration = std::nan(""); }, "project.json: timeline.duration"},
        {[&] { project.timeline.trimStart = -1e9; }, "project.json: timeline.trimStart"},
        {[&] { project.timeline.trimEnd = 1e9; }, "project.json: timeline.trimEnd"},
        {[&] { project.timeline.cuts[2].end = 1e6; }, "project.json: timeline.cuts[2].end"},
        {[&] { project.timeline.cuts.resize(100'001); }, "project.json: timeline.cuts"},
        {[&] { project.timeline.speedRanges[1].start = -1e6; }, "project.json: timeline.speedRanges[1].start"},
        {[&] { project.timeline.speedRanges[0].rate = 1e7; }, "project.json: timeline.speedRanges[0].rate"},
        {[&] { project.timeline.speedRanges.resize(100'001); }, "project.json: timeline.speedRanges"},
        {[&] { project.zoom.segments[1].level = 1e3; }, "project.json: zoom.segments[1].level"},
        {[&] { project.zoom.segments[0].end = 1e30; }, "project.json: zoom.segments[0].end"},
        {[&] { project.zoom.segments.resize(100'001); }, "project.json: zoom.segments"},
        {[&] { project.zoom.defaultLevel = -1e3; }, "project.json: zoom.defaultLevel"},
        {[&] { project.cursor.size = 1e4; }, "project.json: cursor.size"},
        {[&] { project.cursor.autoHideIdle = 1e10; }, "project.json: cursor.autoHideIdle"},
        {[&] { project.style.padding = 1e9; }, "project.json: style.padding"},
        {[&] { project.style.cornerRadius = -1e9; }, "project.json: style.cornerRadius"},
        {[&] { project.captions->cues[1].start = 1e8; }, "project.json: captions.cues[1].start"},
        {[&] { project.captions->cues.resize(100'001); }, "project.json: captions.cues"},
        {[&] { project.captions->cues[1].text.resize(5001); }, "project.json: captions.cues[1].text"},
        {[&] { project.captions->style.size = 1e3; }, "project.json: captions.style.size"}};
    for (const auto& [spoil, expected] : faults) {
        log = quietLog();
        log.cursor.resize(8);
        log.clicks.resize(2);
        log.scroll.resize(2);
        log.keys.resize(2);
        project = plainProject(10);
        project.timeline.cuts.resize(3);
        project.timeline.speedRanges.resize(2);
        project.zoom.segments.resize(2);
        project.captions.emplace().cues.resize(2);
        EXPECT_EQ(refusal(log, project), "");
        spoil();
        const std::string text = refusal(log, project);
        EXPECT_TRUE(text.starts_with(expected + ": ")) << expected << " expected, told: " << text;
        EXPECT_EQ(text.find('\n'), std::string::npos);
    }
}

TEST(DocumentLimits, acceptWhatIsJustWithinThem) {
    EventLog events = quietLog();
    events.clicks = {{.t = DocumentLimits::longestSeconds, .x = 1e6, .y = -1e6}};
    ProjectSettings settings = plainProject(DocumentLimits::longestSeconds);
    settings.timeline.cuts.resize(DocumentLimits::mostEdits);
    settings.timeline.speedRanges = {{0, 1, 1e6}};
    for (const int side : {16, DocumentLimits::largestCanvasSide}) {
        events.recording.display.pointWidth = side;
        EXPECT_EQ(refusal(events, settings), "");
    }
}

// A slider must not rebuild an hour's cursor path; whatever is changed, the states are those of a fresh build.
TEST(FrameStatesInParts, areThoseOfAFreshBuildAndShareWhatStays) {
    EventLog events = quietLog();
    for (int i = 0; i < 100; ++i) events.cursor.push_back({.t = 0.1 * i, .x = 20.0 + i, .y = 10.0 + 3 * (i % 20)});
    events.clicks = {{.t = 2, .x = 40, .y = 30}, {.t = 6, .x = 80, .y = 45}};
    events.keys = {{.t = 3, .keyCode = 1, .chars = "s", .modifiers = {"cmd"}}};
    ProjectSettings settings = plainProject(10);
    settings.zoom.automatic = true;
    settings.captions =
        CaptionSettings{.enabled = true, .cues = {{.start = 1, .end = 4, .text = "One"}}, .style = {}};
    FrameStates states = statesOf(events, settings);

    const std::vector<std::pair<const char*, std::function<void()>>> changes{
        {"padding", [&] { settings.style.padding = 90; }},
        {"aspect", [&] { settings.style.aspect = "9:16"; }},
        {"idle", [&] { settings.cursor.autoHideIdle = 0.2; }},
        {"smoothing", [&] { settings.cursor.smoothing = CursorSmoothing::ultra; }},
        {"zoom", [&] { settings.zoom.defaultLevel = 2.5; }},
        {"keys", [&] { settings.keystrokes = KeystrokeSettings{.enabled = true, .showAllKeys = true}; }},
        {"caption", [&] { settings.captions->cues[0].text = "Another"; }},
        {"cut",
         [&] {
             settings.timeline.cuts.push_back({1, 2});
         }},
    };
    for (const auto& [name, change] : changes) {
        SCOPED_TRACE(name);
        change();
        const FrameStates next = states.with(events, settings), fresh = statesOf(events, settings);
        for (int i = 0; i <= 40; ++i) EXPECT_EQ(next.state(0.25 * i), fresh.state(0.25 * i)) << i;
        EXPECT_EQ(next.canvas(), fresh.canvas());
        EXPECT_EQ(next.timeline().segments(), fresh.timeline().segments());
        EXPECT_EQ(next.cursor().trajectory().data() == states.cursor().trajectory().data(),
                  std::string_view(name) != "smoothing");
        states = next;
    }
}

}  // namespace
}  // namespace lumenwhirl
