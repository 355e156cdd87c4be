#include "Media/AudioReader.h"
#include "Media/InputFile.h"
#include "Media/MediaError.h"
#include "Media/VideoReader.h"
#include "Recorder/RecordingFile.h"
#include "Tests/Support/Files.h"
#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <latch>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;

constexpr int width = 320, height = 128;
constexpr double startTime = 1000;

RecordingFile::Settings settings(VideoCodec codec = VideoCodec::hevc) {
    return {
        .width = width, .height = height, .codec = codec, .encoder = EncoderChoice::software, .beforeFrame = {}};
}

/// A frame that shows a number, in grey.
class Numbered {
public:
    Numbered(unsigned number, double time) : pixels_(std::size_t{width} * height) {
        Picture code(width, height, PixelFormat::yuv420p8);
        barCode::paint(code, number, barCode::areaOf(code));
        for (int i = 0; i < width * height; ++i)
            pixels_[static_cast<std::size_t>(i)] =
                code.plane(0)[i / width * code.stride(0) + i % width] > 128 ? 0xffffff : 0;
        frame_ = {.time = time,
                  .pixels = reinterpret_cast<const std::uint8_t*>(pixels_.data()),
                  .stride = std::ptrdiff_t{4} * width,
                  .width = width,
                  .height = height};
    }
    [[nodiscard]] const CapturedFrame& frame() const { return frame_; }

private:
    std::vector<std::uint32_t> pixels_;
    CapturedFrame frame_;
};

/// Appends the frame as soon as there is room for it; false when the file takes no more.
bool append(RecordingFile& movie, const CapturedFrame& frame) {
    while (!movie.appendVideo(frame)) {
        if (movie.failure()) return false;
        std::this_thread::yield();
    }
    return true;
}

struct Shown {
    std::optional<unsigned> number;
    double time;
};

/// All frames that play, also of a file that still grows.
std::vector<Shown> framesOf(const fs::path& file) {
    std::vector<Shown> frames;
    try {
        VideoReader reader(file);
        while (const auto frame = reader.next())
            frames.push_back({barCode::read(*frame, barCode::areaOf(*frame)), frame->time()});
    } catch (const MediaError&) {  // it may have no frame yet
    }
    return frames;
}

std::vector<float> audioOf(const fs::path& file) {
    AudioBuffer buffer;
    EXPECT_TRUE(AudioReader(file).read(buffer, 100'000'000));
    return buffer.channels.at(0);
}

/// A tick of two milliseconds every half second, in stereo.
std::vector<float> ticking(double from, std::size_t frames) {
    std::vector<float> samples;
    for (std::size_t i = 0; i < frames; ++i) {
        const double time = from + static_cast<double>(i) / 48'000;
        const double sinceTick = time - 0.5 * std::floor(time / 0.5);
        const auto value =
            static_cast<float>(sinceTick < 0.002 ? 0.8 * std::sin(std::numbers::pi * sinceTick / 0.002) : 0);
        samples.push_back(value);
        samples.push_back(value);
    }
    return samples;
}

bool appendAudio(RecordingFile& movie, double time, std::size_t frames = 800) {
    const std::vector<float> samples = ticking(time, frames);
    return movie.appendAudio({startTime + time, samples.data(), frames});
}

class Codecs : public testing::TestWithParam<VideoCodec> {};

TEST_P(Codecs, keepFramesTheirTimesAndTheAudioInSync) {
    const TemporaryFolder folder;
    const fs::path file = folder / "recording.mp4";
    RecordingFile movie(file, settings(GetParam()));
    EXPECT_TRUE(folder.isEmpty());
    EXPECT_FALSE(movie.appendVideo(Numbered(0, startTime).frame()));
    ASSERT_TRUE(movie.begin(startTime, AudioFormat{}));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    // The first two are before time 0; then uneven times, and one time twice.
    const std::vector<double> given{-0.03, -0.01, 0.0166, 0.0333334, 0.5, 0.52, 3.0, 3.0, 9.9, 9.95};
    const std::vector<double> expected{0, 0.000001, 0.0166, 0.033333, 0.5, 0.52, 3.0, 3.000001, 9.9, 9.95};
    for (unsigned i = 0; i < given.size(); ++i)
        ASSERT_TRUE(append(movie, Numbered(i, startTime + given[i]).frame()));
    for (int i = -30; i < 600; ++i) {
        while (!appendAudio(movie, i / 60.0)) std::this_thread::yield();  // ten seconds at once are too much
    }
    movie.finish(60);
    EXPECT_EQ(movie.failure(), std::nullopt);
    EXPECT_EQ(movie.progress().framesWritten, 10);
    EXPECT_EQ(movie.progress().bytes, fs::file_size(file));
    EXPECT_FALSE(movie.appendVideo(Numbered(0, startTime + 20).frame()));

    const std::vector<Shown> frames = framesOf(file);
    ASSERT_EQ(frames.size(), expected.size());
    for (unsigned i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].number, i);
        EXPECT_DOUBLE_EQ(frames[i].time, expected[i]);
    }
    const std::vector<float> audio = audioOf(file);
    EXPECT_NEAR(static_cast<double>(audio.size()), 480'000, 1024);
    for (std::size_t tick = 1; tick < 19; ++tick) {
        const auto begin = audio.begin() + static_cast<std::ptrdiff_t>(24'000 * tick - 1000);
        EXPECT_NEAR(static_cast<double>(std::max_element(begin, begin + 2000) - begin), 1000 + 48, 10) << tick;
    }
}

TEST_P(Codecs, putAKeyFrameNearEveryFrame) {
    const TemporaryFolder folder;
    const fs::path file = folder / "recording.mp4";
    RecordingFile movie(file, settings(GetParam()));
    ASSERT_TRUE(movie.begin(startTime, std::nullopt));
    std::vector<double> times;
    for (double time = 0; time < 30; time += time < 6 ? 1 / 60.0 : 0.7) times.push_back(time);
    for (unsigned i = 0; i < times.size(); ++i)
        ASSERT_TRUE(append(movie, Numbered(i, startTime + times[i]).frame()));
    movie.finish(60);
    InputFile input(file, AVMEDIA_TYPE_VIDEO);
    const PacketHandle packet = makePacket();
    double latest = 0, farthest = 0;
    std::size_t count = 0;
    while (input.read(*packet)) {
        const double time = static_cast<double>(packet->pts) * 1e-6;
        if ((packet->flags & AV_PKT_FLAG_KEY) != 0) latest = time;
        farthest = std::max(farthest, time - latest);
        ++count;
    }
    EXPECT_EQ(count, times.size());
    EXPECT_LT(farthest, 4);
}

INSTANTIATE_TEST_SUITE_P(All, Codecs, testing::Values(VideoCodec::hevc, VideoCodec::h264),
                         [](const auto& instance) {
                             return instance.param == VideoCodec::hevc ? "hevc" : "h264";
                         });

TEST(RecordingFile, flushesTheLastFrameWhileTheScreenIsStill) {
    const TemporaryFolder folder;
    const fs::path file = folder / "recording.mp4";
    RecordingFile movie(file, settings());
    ASSERT_TRUE(movie.begin(startTime, std::nullopt));
    ASSERT_TRUE(movie.appendVideo(Numbered(1, startTime).frame()));
    ASSERT_TRUE(movie.appendVideo(Numbered(2, startTime + 0.1).frame()));
    // However long it takes; if it never happens, the test does not end.
    while (framesOf(file).size() < 2) std::this_thread::yield();
    EXPECT_EQ(framesOf(file).back().number, 2U);
    EXPECT_EQ(movie.progress().bytes, fs::file_size(file));
}

TEST(RecordingFile, dropsFramesWhileTheEncoderIsBehind) {
    const TemporaryFolder folder;
    std::latch isEncoding(1), mayGoOn(1);
    bool isFirst = true;
    RecordingFile::Settings slow = settings();
    slow.beforeFrame = [&] {
        if (std::exchange(isFirst, false)) isEncoding.count_down();
        mayGoOn.wait();
    };
    const fs::path file = folder / "recording.mp4";
    RecordingFile movie(file, slow);
    ASSERT_TRUE(movie.begin(startTime, std::nullopt));
    ASSERT_TRUE(movie.appendVideo(Numbered(0, startTime).frame()));
    isEncoding.wait();
    for (unsigned i = 1; i < 30; ++i)
        EXPECT_EQ(movie.appendVideo(Numbered(i, startTime + i / 60.0).frame()), i <= RecordingFile::queuedFrames);
    EXPECT_EQ(movie.progress().framesDropped, 29 - static_cast<int>(RecordingFile::queuedFrames));
    mayGoOn.count_down();
    ASSERT_TRUE(append(movie, Numbered(40, startTime + 40 / 60.0).frame()));
    movie.finish(60);
    const std::vector<Shown> frames = framesOf(file);
    ASSERT_EQ(frames.size(), RecordingFile::queuedFrames + 2);
    EXPECT_EQ(movie.progress().framesWritten, static_cast<std::int64_t>(frames.size()));
    for (unsigned i = 0; i + 1 < frames.size(); ++i) EXPECT_EQ(frames[i].number, i);
    EXPECT_EQ(frames.back().number, 40U);
    EXPECT_NEAR(frames.back().time, 40 / 60.0, 1e-6);
}

TEST(RecordingFile, finishesInTimeWithoutWhatWouldTakeLonger) {
    const TemporaryFolder folder;
    std::latch mayGoOn(1);
    RecordingFile::Settings slow = settings();
    slow.beforeFrame = [&] { mayGoOn.wait(); };
    const fs::path file = folder / "recording.mp4";
    RecordingFile movie(file, slow);
    ASSERT_TRUE(movie.begin(startTime, AudioFormat{}));
    for (unsigned i = 0; i < 10; ++i) ASSERT_TRUE(movie.appendVideo(Numbered(i, startTime + i / 60.0).frame()));
    std::jthread stopper([&] { movie.finish(0); });
    // Once it takes no audio, not even an empty block, it is finishing and the time is up.
    while (movie.appendAudio({startTime, nullptr, 0})) std::this_thread::yield();
    mayGoOn.count_down();
    stopper.join();
    EXPECT_EQ(movie.failure(), std::nullopt);
    EXPECT_LE(framesOf(file).size(), 1U);  // the one that was being encoded
}

TEST(RecordingFile, reportsAFullDiskAndKeepsWhatWasWritten) {
    for (const rlim_t limit : {rlim_t{3'000}, rlim_t{60'000}}) {
        SCOPED_TRACE(limit);
        const TemporaryFolder folder;
        const fs::path file = folder / "recording.mp4";
        EXPECT_TRUE(holdsOnFullDisk(limit, [&] {
            RecordingFile movie(file, settings(VideoCodec::h264));
            if (!movie.begin(startTime, AudioFormat{})) return false;
            unsigned i = 0;
            while (append(movie, Numbered(i * 7919U, startTime + i / 60.0).frame())) {
                appendAudio(movie, i / 60.0);
                if (++i > 100'000) return false;
            }
            movie.finish(60);
            const std::string failure = movie.failure().value_or("");
            return failure.find("recording.mp4: cannot write: ") != std::string::npos &&
                   failure.find('\n') == std::string::npos && !appendAudio(movie, i / 60.0) &&
                   !movie.appendVideo(Numbered(0, startTime + 5000).frame());
        }));
        // Nothing is torn: it reads to its end without error.
        VideoReader reader(file);
        unsigned count = 0;
        while (const auto frame = reader.next())
            EXPECT_EQ(barCode::read(*frame, barCode::areaOf(*frame)), count++ * 7919U % 65536);
        EXPECT_TRUE(limit < 10'000 || count > 0);
        EXPECT_LE(fs::file_size(file), limit);
    }
}

TEST(RecordingFile, canBeBegunAgainAfterAFailure) {
    const TemporaryFolder folder;
    RecordingFile movie(folder / "package/recording.mp4", settings());
    EXPECT_FALSE(movie.begin(startTime, AudioFormat{}));
    EXPECT_NE(movie.failure().value_or("").find("recording.mp4: cannot create: "), std::string::npos);
    fs::create_directory(folder / "package");
    EXPECT_FALSE(movie.begin(startTime, AudioFormat{.sampleRate = 48'000, .channels = 9}));
    EXPECT_TRUE(fs::is_empty(folder / "package"));
    ASSERT_TRUE(movie.begin(startTime, std::nullopt));
    EXPECT_EQ(movie.failure(), std::nullopt);
    ASSERT_TRUE(append(movie, Numbered(9, startTime).frame()));
    movie.finish(60);
    EXPECT_EQ(framesOf(folder / "package/recording.mp4").size(), 1U);
}

TEST(RecordingFile, keepsTheTimesOfAScreenThatIsStillForHours) {
    const TemporaryFolder folder;
    const fs::path file = folder / "recording.mp4";
    RecordingFile movie(file, settings());
    ASSERT_TRUE(movie.begin(startTime, std::nullopt));
    ASSERT_TRUE(append(movie, Numbered(1, startTime).frame()));
    ASSERT_TRUE(append(movie, Numbered(2, startTime + 2).frame()));
    ASSERT_TRUE(append(movie, Numbered(3, startTime + 20'000).frame()));
    movie.finish(60);
    const std::vector<Shown> frames = framesOf(file);
    for (const Shown& frame : frames) {
        EXPECT_EQ(frame.number, frame.time == 0 ? 1U : frame.time < 20'000 ? 2U : 3U);
        EXPECT_LE(frame.time, 20'000);
    }
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(frames.back().time, 20'000);
}

}  // namespace
}  // namespace lumenwhirl
