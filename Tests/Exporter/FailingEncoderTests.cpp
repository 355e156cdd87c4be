#include "Media/FFmpegHandles.h"
#include "Tests/Exporter/Recordings.h"
#include "Tests/Support/Audio.h"

#include <atomic>

namespace {

/// How many more frames encoders of each kind take before they fail.
std::atomic<int> picturesLeft = 1 << 30, audiosLeft = 1 << 30;

}  // namespace

extern "C" {

// The linker gives every call of avcodec_send_frame to the one below, and the library's own the name above it.
int __real_avcodec_send_frame(AVCodecContext* codec,
                              const AVFrame* frame);  // NOLINT(bugprone-reserved-identifier)
int __wrap_avcodec_send_frame(AVCodecContext* codec,
                              const AVFrame* frame) {  // NOLINT(bugprone-reserved-identifier)
    std::atomic<int>& left = codec->codec_type == AVMEDIA_TYPE_VIDEO ? picturesLeft : audiosLeft;
    return left-- > 0 ? __real_avcodec_send_frame(codec, frame) : AVERROR_EXTERNAL;
}
}

namespace lumenwhirl {
namespace {

using recordings::plainProject;

constexpr int never = 1 << 30;

class FailingEncoder : public recordings::Exporting {
protected:
    void TearDown() override {
        picturesLeft = audiosLeft = never;
        Exporting::TearDown();
    }
    void recordTiny(int frames, double amplitude = 0.4) {
        events.recording.display.pointWidth = 16;  // a thousand of its frames are drawn in no time
        recordings::Recording recording = recordings::steady(frames, 60);
        recording.frame = [](unsigned number) {
            return recordings::flat(static_cast<std::uint8_t>(number % 200));
        };
        recording.audio = AudioBuffer{
            {signals::sine(static_cast<std::size_t>(frames) * recordings::sampleRate / 60, 300, amplitude)}};
        record(recording);
        std::ofstream(destination) << "yesterday's";
    }
    static ProjectSettings edited(double duration) {
        ProjectSettings settings = plainProject(duration);
        settings.timeline.cuts = {{0.2, 0.5}};
        return settings;
    }
    /// The message names the destination and `problem`, and nothing but the old file is there.
    void expectFailure(const ProjectSettings& settings, const std::string& problem, Preset preset = Preset::web) {
        const auto failure = failureOf(destination, settings, {.preset = preset, .progress = {}});
        ASSERT_TRUE(failure);
        EXPECT_EQ(failure->kind, Exporter::ExportError::Kind::writerFailed);
        EXPECT_TRUE(failure->message.starts_with(destination.string() + ": " + problem)) << failure->message;
        EXPECT_EQ(failure->message.find('\n'), std::string::npos);
        EXPECT_EQ(contentsOf(destination), "yesterday's");
        EXPECT_EQ(filesLeft(), (Names{"out.mp4", "recording.mp4"}));
    }

    const std::filesystem::path destination = folder / "out.mp4";
};

TEST_F(FailingEncoder, ofThePictureLeavesTheOldFileAtAnyFrame) {
    recordTiny(1020);
    for (const ProjectSettings& settings : {plainProject(17), edited(17)}) {
        for (const int frame : {1, 1000}) {
            SCOPED_TRACE(frame);
            picturesLeft = frame - 1;
            expectFailure(settings, "cannot encode with libx264: ");
        }
    }
}

TEST_F(FailingEncoder, ofThePictureMayFailWhenItIsEmptied) {
    recordTiny(60);
    picturesLeft = 60;  // what tells it that no more will come is one frame too many
    expectFailure(plainProject(1), "cannot encode with libx264: ");
    events = recordings::quietLog();  // x265 takes no pictures of 16 x 8
    picturesLeft = 60;
    expectFailure(plainProject(1), "cannot encode with libx265: ", Preset::social);
}

TEST_F(FailingEncoder, ofTheAudioFailsAnEditAndNothingElse) {
    recordTiny(120);
    for (const int frame : {1, 50}) {
        audiosLeft = frame - 1;
        expectFailure(edited(2), "edited audio: cannot encode with aac: ");
    }
    audiosLeft = 0;
    EXPECT_NO_THROW(exportTo(destination, plainProject(2)));  // copied
    EXPECT_TRUE(readAll(destination).channels == readAll(source).channels);
}

TEST_F(FailingEncoder, ofTheAudioLeavesAQuietOneAsItIs) {
    recordTiny(120, 0.05);
    for (const int frame : {1, 50}) {
        audiosLeft = frame - 1;
        EXPECT_NO_THROW(exportTo(destination, plainProject(2)));
        EXPECT_TRUE(readAll(destination).channels == readAll(source).channels);
    }
}

}  // namespace
}  // namespace lumenwhirl
