#include "Engine/Timeline/EditTimeline.h"
#include "Exporter/AudioNormalizer.h"
#include "Tests/Exporter/Recordings.h"
#include "Tests/Support/Audio.h"

namespace lumenwhirl {
namespace {

using recordings::framesOf;
using recordings::plainProject;
using recordings::Recording;
using recordings::Shown;

constexpr int fps = 30;

/// White for a tenth of a second whenever a burst of audio begins, like a clapperboard.
class ExportedAudio : public recordings::Exporting {
protected:
    const std::vector<double> claps{0.5, 1.5, 2.5, 3.5, 4.5, 5.5};
    static constexpr int seconds = 6;

    void recordClaps() const {
        Recording clapping = recordings::steady(seconds * fps, fps);
        clapping.frame = [this](unsigned number) {
            for (const double time : claps) {
                const double age = number / static_cast<double>(fps) - time;
                if (age > -1e-9 && age < 0.1) return recordings::flat(235);
            }
            return recordings::flat(16);
        };
        const std::vector<float> audio = signals::bursts(seconds * recordings::sampleRate, claps);
        clapping.audio = AudioBuffer{{audio, audio}};
        record(clapping);
    }

    /// When white appears.
    static std::vector<double> flashesOf(const std::vector<Shown>& frames) {
        std::vector<double> flashes;
        bool wasWhite = false;
        for (const Shown& each : frames) {
            const bool isWhite = each.frame.plane(0)[0] > 128;
            if (isWhite && !wasWhite) flashes.push_back(each.frame.time());
            wasWhite = isWhite;
        }
        return flashes;
    }

    static std::vector<float> audioOf(const std::filesystem::path& file) { return readAll(file).channels.front(); }
};

TEST_F(ExportedAudio, isHeardWhenItsPictureIsSeenWhateverTheEdit) {
    recordClaps();
    ProjectSettings settings = plainProject(seconds);
    const auto edit = [&](const std::vector<TimeRange>& cuts, const std::vector<SpeedRange>& ranges) {
        Timeline timeline = settings.timeline;
        timeline.cuts = cuts;
        timeline.speedRanges = ranges;
        return timeline;
    };
    // The middle of each clap lies in one segment, so that the middle of its audio is where that segment puts it.
    std::vector<Timeline> edits{edit({{0.61, 1.123}, {2.7071, 3.1415}}, {}),
                                settings.timeline,
                                edit({}, {{1.2, 2, 0.5}}),
                                edit({}, {{0, 1, 2}, {3, 4, 0.5}}),
                                edit({{2, 3}}, {{1, 3.2, 0.5}, {4.2, 6, 2}}),
                                edit({{0.8, 0.9}, {3.9, 4.2}}, {{0.9, 2.2, 2}, {2.2, 3.3, 0.5}, {5, 6, 4}})};
    edits.front().trimStart = 0.2003;
    edits.back().trimEnd = 5.9;
    for (std::size_t index = 0; index < edits.size(); ++index) {
        SCOPED_TRACE(index);
        settings.timeline = edits[index];
        const EditTimeline timeline(settings.timeline);
        const auto file = exported(settings);
        const auto frames = framesOf(file);
        const auto audio = audioOf(file);
        const std::vector<double> flashes = flashesOf(frames);
        std::size_t kept = 0;
        for (const double clap : claps) {
            if (timeline.skipTarget(clap)) continue;
            const double time = timeline.outputTimeForSource(clap), rate = timeline.rateForOutput(time + 1e-6);
            const double middle = timeline.outputTimeForSource(clap + 0.03);
            const double heard = signals::middleOf(audio, middle, 0.05 / rate + 0.03);
            EXPECT_NEAR(heard, middle, rate == 1 ? 0.001 : 1.0 / fps) << clap << " at rate " << rate;
            ASSERT_LT(kept, flashes.size());
            // The grid's first frame at or after it.
            EXPECT_GE(flashes[kept], time - 1e-5);
            EXPECT_LT(flashes[kept], time + 1.0 / fps);
            ++kept;
        }
        EXPECT_EQ(flashes.size(), kept);
        EXPECT_NEAR(static_cast<double>(audio.size()) / recordings::sampleRate,
                    frames.back().frame.time() + 1.0 / fps, 1.0 / fps);
    }
}

TEST_F(ExportedAudio, ofAQuietRecordingIsRaisedWithoutMovingIt) {
    ::setenv("TMPDIR", (folder / "missing").c_str(), 1);  // nothing is needed but the destination's folder
    for (const bool isEdited : {false, true}) {
        Recording recording = recordings::steady(90, fps);
        std::vector<float> audio = signals::sine(3 * recordings::sampleRate, 300, 0.03);
        std::fill(audio.begin() + 48000, audio.begin() + 50400, 0.0F);  // a gap of 50 ms to find again
        recording.audio = AudioBuffer{{audio}};
        record(recording);
        ProjectSettings settings = plainProject(3);
        if (isEdited) settings.timeline.cuts = {{2, 2.5}};
        const auto file = exported(settings);
        EXPECT_NEAR(AudioNormalizer::measure(file).speechLevel, AudioNormalizer::targetSpeechLevel, 0.005);
        const auto raised = audioOf(file);
        EXPECT_EQ(raised.size(), isEdited ? 120000U : 144000U);
        const auto gap = std::span(raised).subspan(48000, 2400);
        EXPECT_LT(signals::rmsOf(gap.subspan(480, 1440)), 0.02);
        EXPECT_GT(signals::rmsOf(std::span(raised).subspan(48000 - 480, 480)), 0.12);
        EXPECT_GT(signals::rmsOf(std::span(raised).subspan(50400, 480)), 0.12);
    }
}

}  // namespace
}  // namespace lumenwhirl
