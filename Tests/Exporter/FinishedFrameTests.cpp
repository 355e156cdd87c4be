#include "Pixels/Image.h"
#include "Tests/Exporter/Recordings.h"

#include <cmath>

namespace lumenwhirl {
namespace {

using recordings::framesOf;
using recordings::plainProject;
using recordings::Recording;

class FinishedFrameOfAnExport : public recordings::Exporting {
protected:
    [[nodiscard]] Image finished(const ProjectSettings& settings, double outputTime) const {
        return Exporter::finishedFrame(source, events, settings, outputTime, FrameStates::Zoom::asProject);
    }
    [[nodiscard]] std::optional<unsigned> numberAt(const ProjectSettings& settings, double outputTime) const {
        const Picture picture = pictureFromImage(finished(settings, outputTime));
        const Plane<const std::uint8_t> luma = picture.planes()[0];
        return barCode::read(luma.data, luma.stride, {0, 0, recordings::width, recordings::height});
    }
};

/// Mean of the absolute differences, in codes of 255.
double differenceOf(const Image& left, const Image& right) {
    if (left.width != right.width || left.height != right.height) return 255;
    double sum = 0;
    for (std::size_t i = 0; i < left.pixels.size(); ++i) sum += std::abs(left.pixels[i] - right.pixels[i]);
    return sum / static_cast<double>(left.pixels.size()) * 4 / 3;  // alpha never differs
}

TEST_F(FinishedFrameOfAnExport, isTheOneOnScreenAtThatTime) {
    const Recording uneven = recordings::atTicks({0, 20, 47, 60, 130, 140, 300});
    record(uneven);
    ProjectSettings settings = plainProject(0.6);
    for (unsigned i = 0; i < uneven.ticks.size(); ++i) {
        const double time = static_cast<double>(uneven.ticks[i]) / 600;
        EXPECT_EQ(numberAt(settings, time), i);
        EXPECT_EQ(numberAt(settings, time - 0.001), i > 0 ? i - 1 : 0);
    }
    for (const double early : {-1e300, -1.0, std::nan("")}) EXPECT_EQ(numberAt(settings, early), 0U) << early;
    for (const double late : {0.6, 1e300}) EXPECT_EQ(numberAt(settings, late), 6U) << late;

    record(recordings::steady(90, 30));
    settings = plainProject(3);
    settings.timeline.trimStart = 0.5;
    settings.timeline.cuts = {{1, 2}};
    const auto exportedFrames = framesOf(exported(settings));
    ASSERT_EQ(exportedFrames.size(), 45U);
    for (const std::size_t i : {0U, 7U, 8U, 14U, 15U, 16U, 44U}) {
        const double time = static_cast<double>(i) / 30;
        EXPECT_EQ(numberAt(settings, time), exportedFrames[i].number()) << i;
        EXPECT_EQ(numberAt(settings, time + 0.03), exportedFrames[i].number()) << i;
    }
    EXPECT_EQ(numberAt(settings, 1e9), 89U);
}

TEST_F(FinishedFrameOfAnExport, showsWhatTheExportShows) {
    // Slow waves of colour on a larger canvas, so that the encoder has bits enough for them.
    events.recording.display.pointWidth = 480;
    Recording waves = recordings::steady(60, 30);
    waves.frame = [](unsigned number) {
        Picture frame = recordings::flat(126);
        for (int plane = 0; plane < 3; ++plane) {
            const int scale = plane == 0 ? 1 : 2;
            for (int y = 0; y < recordings::height / scale; ++y)
                for (int x = 0; x < recordings::width / scale; ++x)
                    frame.mutablePlane(plane)[y * frame.stride(plane) + x] = static_cast<std::uint8_t>(
                        128 + 80 * std::sin(0.04 * scale * x + 0.03 * scale * y + 0.05 * number + plane));
        }
        return frame;
    };
    record(waves);
    for (int i = 0; i < 60; ++i) events.cursor.push_back({i / 30.0, 20.0 + 2 * i, 70.0 - i});
    events.clicks = {{.t = 0.8, .x = 68, .y = 46}};
    events.keys = {{.t = 0.7, .keyCode = 1, .chars = "s", .modifiers = {"cmd"}, .isRepeat = false}};
    ProjectSettings settings = ProjectSettings::makeDefault(2, false, false);
    settings.zoom.segments = {{.id = "z", .start = 0.2, .end = 1.8, .level = 1.6, .manual = true}};
    settings.keystrokes = KeystrokeSettings{.enabled = true, .showAllKeys = true};
    settings.captions = CaptionSettings{.enabled = true, .cues = {{0.5, 1.5, "A caption"}}, .style = {}};
    std::vector<ProjectSettings> projects(3, settings);
    projects[1].timeline.cuts = {{0.3, 0.6}};
    projects[1].timeline.speedRanges = {{0.7, 1.1, 0.5}, {1.2, 1.6, 2}};
    projects[2].style.aspect = "9:16";
    projects[2].style.background.type = "solid";
    for (std::size_t project = 0; project < projects.size(); ++project) {
        const auto frames = framesOf(exported(projects[project]));
        for (std::size_t i = 1; i < frames.size(); i += 8) {
            const Image still = finished(projects[project], frames[i].frame.time());
            const Image seen = imageFromPicture(frames[i].frame);
            EXPECT_LT(differenceOf(still, seen), 3) << "frame " << i << " of project " << project;
        }
        // What is compared changes from frame to frame.
        EXPECT_GT(differenceOf(finished(projects[project], 0.1), finished(projects[project], 0.9)), 10);
    }
}

TEST_F(FinishedFrameOfAnExport, showsWhatChangesOverAStillScreen) {
    Recording still = recordings::atTicks({0, 20, 40, 60, 2400});
    still.frame = [](unsigned) { return recordings::flat(126); };
    record(still);
    ProjectSettings settings = plainProject(4.05);
    settings.captions = CaptionSettings{.enabled = true, .cues = {{1, 1.99, "CAPTION"}}, .style = {.size = 4}};
    const auto frames = framesOf(exported(settings));
    ASSERT_EQ(frames.size(), 7U);  // one more as the caption comes, and as it goes
    EXPECT_NEAR(frames[4].frame.time(), 1, 1e-6);
    EXPECT_NEAR(frames[5].frame.time(), 2, 1e-6);
    for (const auto& [time, shown] :
         {std::pair{0.99, 3U}, {1.0, 4U}, {1.99, 4U}, {2.0, 5U}, {3.99, 5U}, {4.0, 6U}})
        EXPECT_LT(differenceOf(finished(settings, time), imageFromPicture(frames[shown].frame)), 4) << time;
    EXPECT_GT(differenceOf(finished(settings, 0.5), finished(settings, 1.5)), 8);
    settings.zoom.segments = {{.id = "z", .start = 2.5, .end = 3.5, .level = 1.5, .manual = true}};
    EXPECT_GT(framesOf(exported(settings)).size(), 30U);
    settings.timeline.cuts = {{0.5, 0.6}};  // then there is a grid, of the usual 30 a second
    EXPECT_EQ(framesOf(exported(settings)).size(), 118U);

    Recording slow = recordings::atTicks({0, 600, 1200});
    slow.video.frameRate = {1, 1};
    record(slow);
    EXPECT_NEAR(VideoReader(exported(plainProject(3))).info().duration, 3, 1e-3);
}

}  // namespace
}  // namespace lumenwhirl
