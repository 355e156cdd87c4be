#include "Tests/Exporter/Recordings.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/ForeignMovies.h"

#include <cstdlib>
#include <numeric>

namespace lumenwhirl {
namespace {

using recordings::framesOf;
using recordings::plainProject;
using recordings::Recording;

/// Recordings as other programs make them.
class UnusualRecording : public recordings::Exporting {
protected:
    /// Copies `picture` into another container, with its times changed or left out.
    void copyPicture(const char* container, const std::function<void(AVPacket&, int)>& change) const {
        OutputFile output(source, container);
        movies::CopiedVideo video(picture, output);
        output.context().avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
        Dictionary none;
        output.start(none);
        video.write(change);
        output.finish();
    }

    const std::vector<ProjectSettings> projects = recordings::plainAndCut(1, {0.2, 0.6});
    const std::filesystem::path picture = folder / "picture.mp4";
};

TEST_F(UnusualRecording, withoutTimesPlaysAtItsFrameRate) {
    movies::write(picture, recordings::atTicks(movies::steady(30, 1), {1, 30}));
    copyPicture("h264", [](AVPacket&, int) {});                // an elementary stream has no times
    const double rate = VideoReader(source).info().frameRate;  // FFmpeg 5.1 finds 30, 7.1 takes its default of 25
    for (const ProjectSettings& settings : projects) {
        const bool isCut = !settings.timeline.cuts.empty();
        const auto frames = framesOf(exported(settings));
        ASSERT_EQ(frames.size(), isCut ? static_cast<std::size_t>(0.6 * rate + 1e-6) : 30U);
        for (std::size_t i = 0; i < frames.size(); ++i) {
            const double time = static_cast<double>(i) / rate;
            EXPECT_NEAR(frames[i].frame.time(), time, 1e-5);
            const double shown = isCut && time > 0.2 - 1e-6 ? time + 0.4 : time;
            EXPECT_EQ(frames[i].number(), static_cast<unsigned>(shown * rate + 1e-3)) << i;
        }
    }
    // A GIF's colours are chosen from all over the file, but this one cannot seek.
    EXPECT_NO_THROW(static_cast<void>(exported(plainProject(1), {.preset = Preset::gif, .progress = {}})));
}

// As written by recorders that may be killed at any moment. The index at the start lists nothing.
TEST_F(UnusualRecording, thatIsAFragmentedMp4IsExportedToItsLastFrame) {
    Recording whole = recordings::steady(90, 30);
    const std::vector<double> beeps{0.5, 1.5};
    whole.audio = AudioBuffer{{signals::bursts(3 * recordings::sampleRate, beeps)}};
    movies::write(picture, whole);
    const std::string toPieces = "ffmpeg -v error -y -i '" + picture.string() +
                                 "' -c copy -frag_duration 500000 -movflags +empty_moov+default_base_moof '" +
                                 source.string() + "'";
    ASSERT_EQ(std::system(toPieces.c_str()), 0);
    const auto frames = framesOf(exported(plainProject(3)));
    ASSERT_EQ(frames.size(), 90U);
    EXPECT_EQ(frames.back().number(), 89U);
    EXPECT_EQ(signals::onsets(readAll(folder / "out.mp4").channels.front()).size(), beeps.size());
}

TEST_F(UnusualRecording, withRepeatedOrDescendingTimesKeepsEveryFrameInOrder) {
    movies::write(picture, recordings::steady(30, 30));
    for (const int shift : {33, 66, 300}) {  // ms: the time of the frame before, and of earlier ones
        SCOPED_TRACE(shift);
        copyPicture("matroska", [&](AVPacket& packet, int index) {
            packet.dts = packet.pts - 500;  // no file holds one that is shown before it is decoded
            if (index % 10 == 9) packet.pts -= shift;
        });
        const auto frames = framesOf(exported(projects[0]));
        std::vector<unsigned> all(30);
        std::iota(all.begin(), all.end(), 0U);
        EXPECT_EQ(numbersOf(frames), all);
        for (std::size_t i = 0; i < frames.size(); ++i)
            EXPECT_NEAR(frames[i].frame.time(), static_cast<double>(i) / 30, 0.04);
        EXPECT_EQ(framesOf(exported(projects[1])).size(), 18U);
    }
}

}  // namespace
}  // namespace lumenwhirl
