#include "Engine/Timeline/EditTimeline.h"
#include "Tests/Exporter/Recordings.h"

#include <algorithm>
#include <cstdlib>
#include <random>

namespace lumenwhirl {
namespace {

using recordings::atTicks;
using recordings::framesOf;
using recordings::plainProject;
using recordings::Recording;
using recordings::Shown;
using recordings::steady;

using FrameChoice = recordings::Exporting;

std::vector<unsigned> counted(unsigned first, unsigned end, unsigned step = 1) {
    std::vector<unsigned> numbers;
    for (unsigned number = first; number < end; number += step) numbers.push_back(number);
    return numbers;
}

std::vector<unsigned> operator+(std::vector<unsigned> left, const std::vector<unsigned>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// The definition: the newest of the frames at `times` at or before each grid time's source time.
std::vector<unsigned> chosen(const std::vector<double>& times, const Timeline& edit, int fps) {
    const EditTimeline timeline(edit);
    const int count = std::max(1, static_cast<int>(fps * timeline.outputDuration()));
    std::vector<unsigned> numbers;
    for (int i = 0; i < count; ++i) {
        // The microsecond absorbs rounding; frames are much further apart.
        const double sourceTime = timeline.sourceTimeForOutput(static_cast<double>(i) / fps + 1e-6);
        const auto later = std::upper_bound(times.begin(), times.end(), sourceTime);
        numbers.push_back(static_cast<unsigned>(std::max<std::ptrdiff_t>(1, later - times.begin()) - 1));
    }
    return numbers;
}

std::vector<double> timesOf(const Recording& recording) {
    std::vector<double> times;
    for (const std::int64_t tick : recording.ticks)
        times.push_back(static_cast<double>(tick) / recording.video.timeBase.denominator);
    return times;
}

/// In ticks of 1/600 s, to which times are rounded.
void expectOnGrid(const std::vector<Shown>& frames, int fps) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const double ticks = static_cast<double>(i) * 600 / fps;
        ASSERT_NEAR(frames[i].frame.time() * 600, ticks, 600 % fps == 0 ? 1e-6 : 0.5) << i;
    }
}

Timeline randomEdit(unsigned seed, double duration) {
    std::mt19937 random(seed);
    const auto between = [&](double low, double high) {
        return low + (high - low) * static_cast<double>(random()) / 4294967296.0;
    };
    constexpr double rates[]{0.25, 0.5, 1, 1.5, 2, 4, 8};
    Timeline edit;
    edit.duration = duration;
    if (seed % 2 == 0) edit.trimStart = between(0, duration / 4);
    if (seed % 3 == 0) edit.trimEnd = between(duration / 2, duration);
    for (unsigned i = 0; i < seed % 4; ++i) {
        const double start = between(0, duration);
        edit.cuts.push_back({start, start + between(0, 0.5)});
    }
    for (unsigned i = 0; i < 1 + seed % 5; ++i) {  // most of them overlap
        const double start = between(0, duration);
        edit.speedRanges.push_back({start, start + between(0, 1), rates[random() % std::size(rates)]});
    }
    return edit;
}

TEST_F(FrameChoice, anUneditedRecordingKeepsEveryFrameAtItsOwnTime) {
    // 90 kHz times of a variable rate, the first not at 0: no grid could give them.
    Recording uneven = atTicks({4500}, {1, 90000});
    std::mt19937 random(1);
    while (uneven.ticks.size() < 120) uneven.ticks.push_back(uneven.ticks.back() + 300 + random() % 9001);
    for (const Recording& recording : {steady(120, 60), steady(120, 30), uneven}) {
        record(recording);
        std::vector<Exporter::Progress> told;
        const auto out =
            framesOf(exported(plainProject(timesOf(recording).back() + 1.0 / 30),
                              {.progress = [&](Exporter::Progress progress) { told.push_back(progress); }}));
        EXPECT_EQ(numbersOf(out), counted(0, 120));
        const auto in = framesOf(source);
        ASSERT_EQ(in.size(), out.size());
        for (std::size_t i = 0; i < in.size(); ++i) {
            EXPECT_EQ(in[i].frame.time(), timesOf(recording)[i]);
            EXPECT_EQ(out[i].frame.time(), in[i].frame.time()) << i;
        }
        ASSERT_EQ(told.size(), 120U);
        EXPECT_EQ(told.back().framesDone, 120);
        EXPECT_GE(told.back().totalFrames, 120);
    }
}

TEST_F(FrameChoice, cutsDropFramesAndSpeedSkipsOrRepeatsThem) {
    record(steady(120, 30));
    ProjectSettings settings = plainProject(4);
    Timeline& edit = settings.timeline;
    const auto expectNumbers = [&](const std::vector<unsigned>& expected) {
        const auto out = framesOf(exported(settings));
        EXPECT_EQ(numbersOf(out), expected);
        expectOnGrid(out, 30);
    };
    edit.trimStart = 0.5;  // frame 15
    edit.trimEnd = 3.5;    // frame 105, the first one left out
    edit.cuts = {{2, 2.5}, {1, 2}};
    expectNumbers(counted(15, 30) + counted(75, 105));
    edit = plainProject(4).timeline;
    edit.speedRanges = {{1, 3, 2}};
    expectNumbers(counted(0, 30) + counted(30, 90, 2) + counted(90, 120));
    edit.speedRanges = {{1, 1.1, 0.25}, {0, 4, 8}};  // the first one stored wins
    // 30 frames eight times as fast are 3.75: the slow part begins at 0.125 s. Frame 4, at 0.1333 s, is 0.0083 s
    // into it, at a quarter of the speed; 0.4 s long, it ends at 0.525 s with frames 30, 31 and 32 shown.
    const std::vector<unsigned> numbers = numbersOf(framesOf(exported(settings)));
    EXPECT_EQ(std::vector(numbers.begin(), numbers.begin() + 16),
              (std::vector<unsigned>{0, 8, 16, 24, 30, 30, 30, 30, 31, 31, 31, 31, 32, 32, 32, 32}));
}

TEST_F(FrameChoice, everyGridTimeShowsTheNewestFrameAtItsSourceTime) {
    Recording uneven = atTicks({0});
    std::mt19937 random(2);
    while (uneven.ticks.size() < 100) uneven.ticks.push_back(uneven.ticks.back() + 2 + random() % 30);
    for (const Recording& recording : {steady(120, 30), steady(120, 60), uneven}) {
        record(recording);
        const double average = VideoReader(source).info().frameRate;  // the rate that a file claims
        const int fps = FrameStates::exportFrameRate(average);
        for (unsigned seed = 0; seed < 8; ++seed) {
            SCOPED_TRACE(testing::Message() << fps << " fps, seed " << seed);
            ProjectSettings settings = plainProject(timesOf(recording).back() + 1.0 / fps);
            settings.timeline = randomEdit(seed, settings.timeline.duration);
            const auto out = framesOf(exported(settings));
            EXPECT_EQ(numbersOf(out), chosen(timesOf(recording), settings.timeline, fps));
            expectOnGrid(out, fps);
        }
    }
}

TEST_F(FrameChoice, whatIsCutAwayIsNotDecoded) {
    Recording recording = steady(240, 30);
    recording.video.keyFrameInterval = 30;
    record(recording);
    std::string bytes = contentsOf(source);
    const std::size_t begin = bytes.find("mdat"), size = bytes.size() - begin;
    bytes.replace(begin + size * 3 / 10, size / 5, size / 5, '\0');  // some of 8 s, about 2.4 to 4
    writeFile(source, bytes);
    ProjectSettings settings = plainProject(8);
    settings.timeline.cuts = {{1.5, 6.2}};
    EXPECT_EQ(numbersOf(framesOf(exported(settings))), counted(0, 45) + counted(186, 240));
    settings.timeline.trimStart = 7;
    EXPECT_EQ(numbersOf(framesOf(exported(settings))), counted(210, 240));
}

TEST_F(FrameChoice, theEndIsHeldWhereTheVideoIsTooShortAndLessThanAFrameIsOne) {
    record(steady(30, 30));
    ProjectSettings settings = plainProject(2);  // says the project; the video has 1 s
    settings.timeline.cuts = {{0, 0.5}};
    EXPECT_EQ(numbersOf(framesOf(exported(settings))), counted(15, 30) + std::vector<unsigned>(30, 29));
    settings = plainProject(1);
    settings.timeline.trimStart = 0.5;
    settings.timeline.trimEnd = 0.501;
    EXPECT_EQ(numbersOf(framesOf(exported(settings))), (std::vector<unsigned>{15}));
}

TEST_F(FrameChoice, holdsForEveryPreset) {
    record(steady(90, 30));
    ProjectSettings settings = plainProject(3);
    settings.timeline.cuts = {{0.5, 1.5}};
    settings.timeline.speedRanges = {{2, 2.5, 0.5}};
    for (const Preset preset : {Preset::web, Preset::social, Preset::prores}) {
        const auto out = framesOf(exported(settings, {.preset = preset, .progress = {}}));
        EXPECT_EQ(numbersOf(out), chosen(timesOf(steady(90, 30)), settings.timeline, 30)) << rawValue(preset);
        expectOnGrid(out, 30);
    }
    // Fifteen frames a second, also of an unedited recording; one that stays is written once, and longer.
    const std::filesystem::path asVideo = folder / "gif.mp4";
    for (const bool isEdited : {true, false}) {
        SCOPED_TRACE(isEdited);
        if (!isEdited) settings.timeline = plainProject(3).timeline;
        const std::filesystem::path gif = exported(settings, {.preset = Preset::gif, .progress = {}});
        const std::string toVideo = "ffmpeg -v error -y -f gif -i '" + gif.string() +
                                    "' -c:v libx264 -qp 0 -pix_fmt yuv420p -fps_mode passthrough "
                                    "-video_track_timescale 600 '" +
                                    asVideo.string() + "'";
        ASSERT_EQ(std::system(toVideo.c_str()), 0);
        const auto shown = framesOf(asVideo);
        std::vector<unsigned> onGrid;
        std::size_t now = 0;
        for (int i = 0; i < (isEdited ? 37 : 45); ++i) {  // of 3 s less 1 s and another half second, times 15
            while (now + 1 < shown.size() && shown[now + 1].frame.time() < i / 15.0 + 0.0051) ++now;
            onGrid.push_back(shown[now].number().value_or(~0U));
        }
        EXPECT_EQ(onGrid, chosen(timesOf(steady(90, 30)), settings.timeline, 15));
    }
}

TEST_F(FrameChoice, holdsForCanvasesOfOddSides) {
    record(steady(10, 30));
    events.recording.display.pointWidth = events.recording.display.pixelWidth = recordings::width + 1;
    events.recording.display.pointHeight = events.recording.display.pixelHeight = recordings::height + 1;
    EXPECT_EQ(numbersOf(framesOf(exported(plainProject(1.0 / 3)))), counted(0, 10));
}

}  // namespace
}  // namespace lumenwhirl
