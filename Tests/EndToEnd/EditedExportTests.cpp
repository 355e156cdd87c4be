#include "Engine/Timeline/EditTimeline.h"
#include "Media/MediaLog.h"
#include "Tests/EndToEnd/Program.h"
#include "Tests/EndToEnd/TestFolder.h"
#include "Tests/Exporter/Recordings.h"
#include "Tests/Support/Audio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumenwhirl::test {
namespace {

constexpr int fps = 30;
constexpr double duration = 26;  // seconds

/// Five cuts, and every kind of speed; some join, and two ranges begin or end inside a cut.
Timeline edit() {
    Timeline timeline;
    timeline.duration = duration;
    timeline.trimStart = 0.15;
    timeline.trimEnd = 25.8;
    timeline.cuts = {{1, 1.3}, {4.5, 5.1234}, {10.5, 11.2}, {20.2, 20.5071}, {24.5, 25.1}};
    timeline.speedRanges = {{2, 4, 0.25}, {6, 10.7, 4}, {12, 20.3, 8}, {21, 24.5, 1.5}};
    return timeline;
}

/// A beep of 60 ms as it will be heard, and so longer where it is played faster.
struct Beep {
    double middle = 0, length = 0;  // seconds of the recording
    double rate = 1;
};

/// Two in each segment, a tenth of a second of output from its ends.
std::vector<Beep> beepsIn(const EditTimeline& timeline) {
    std::vector<Beep> beeps;
    for (const EditTimeline::Segment& segment : timeline.segments()) {
        const double rate = segment.rate, distance = 0.1 * rate, length = 0.06 * rate;
        beeps.push_back({segment.srcStart + distance, length, rate});
        beeps.push_back({segment.srcEnd - distance, length, rate});
    }
    return beeps;
}

AudioBuffer audioOf(const std::vector<Beep>& beeps) {
    std::vector<float> samples(static_cast<std::size_t>(duration * recordings::sampleRate));
    for (const Beep& beep : beeps) {
        const auto first = std::lround((beep.middle - beep.length / 2) * recordings::sampleRate);
        const auto count = std::lround(beep.length * recordings::sampleRate);
        for (long i = 0; i < count; ++i) {
            // Half a wave over it all, so that no end clicks, and its middle is where its energy is.
            const double envelope =
                std::sin(std::numbers::pi * static_cast<double>(i) / static_cast<double>(count));
            const double tone =
                std::sin(2000 * std::numbers::pi * static_cast<double>(i) / recordings::sampleRate);
            samples[static_cast<std::size_t>(first + i)] = static_cast<float>(0.6 * envelope * tone);
        }
    }
    return {{samples, samples}};
}

TEST(EditedExport, beepsAndPicturesAreWhereTheTimelinePutsThem) {
    silenceMediaLibraries();
    const TestFolder folder;
    const EditTimeline timeline(edit());
    ASSERT_EQ(timeline.segments().size(), 11U);
    const std::vector<Beep> beeps = beepsIn(timeline);
    const LumenwhirlPackage package = LumenwhirlPackage::create("Edited", folder.path());
    recordings::Recording recording = recordings::steady(static_cast<int>(duration * fps), fps);
    recording.audio = audioOf(beeps);
    recordings::write(package.recordingURL(), recording);
    package.writeEvents(recordings::quietLog());
    ProjectSettings project = recordings::plainProject(duration);
    project.timeline = edit();
    package.writeProject(project);

    const std::string output = folder / "out.mp4";
    const Outcome outcome = Program::run({"export", package.url().string(), "-o", output});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;

    const auto frames = recordings::framesOf(output);
    ASSERT_EQ(frames.size(), std::floor(fps * timeline.outputDuration()));
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const double time = static_cast<double>(i) / fps;
        EXPECT_NEAR(frames[i].frame.time(), time, 1e-6);
        // The newest frame at or before; the microsecond keeps rounding from choosing.
        EXPECT_EQ(frames[i].number(), std::floor(timeline.sourceTimeForOutput(time + 1e-6) * fps + 1e-6)) << i;
    }
    const AudioBuffer audio = readAll(output);
    EXPECT_NEAR(static_cast<double>(audio.frames()) / recordings::sampleRate, timeline.outputDuration(),
                1.0 / fps);
    for (const Beep& beep : beeps) {
        const double expected = timeline.outputTimeForSource(beep.middle);
        for (const auto& channel : audio.channels) {
            const double heard = signals::middleOf(channel, expected, 0.09);
            EXPECT_NEAR(heard, expected, beep.rate == 1 ? 0.001 : 1.0 / fps)
                << "at " << beep.middle << " s of the recording, rate " << beep.rate;
        }
    }
}

}  // namespace
}  // namespace lumenwhirl::test
