#include "Media/InputFile.h"
#include "Media/MediaError.h"
#include "Media/VideoReader.h"
#include "Recorder/RecordingFile.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/Files.h"
#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <latch>
#include <numbers>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;

constexpr int width = 320, height = 128;
constexpr double startTime = 1000;

RecordingFile::Settings settings(VideoCodec codec = VideoCodec::hevc, std::function<void()> beforeFrame = {}) {
    return {width, height, codec, EncoderChoice::software, std::move(beforeFrame)};
}

/// Appends a frame that shows a number, in black and white; false if there is no room for it.
bool append(RecordingFile& movie, unsigned number, double time, int missed = 0) {
    Picture code(width, height, PixelFormat::yuv420p8);
    barCode::paint(code, number, barCode::areaOf(code));
    std::vector<std::uint32_t> pixels;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pixels.push_back(code.plane(0)[y * code.stride(0) + x] > 128 ? 0xffffff : 0);
    return movie.appendVideo({.time = startTime + time,
                              .pixels = reinterpret_cast<const std::uint8_t*>(pixels.data()),
                              .stride = std::ptrdiff_t{4} * width,
                              .width = width,
                              .height = height,
                              .missed = missed});
}

/// The same as soon as there is room; false when the file takes no more.
bool appendSoon(RecordingFile& movie, unsigned number, double time) {
    while (!append(movie, number, time)) {
        if (movie.failure()) return false;
        std::this_thread::yield();
    }
    return true;
}

/// Appends a sixtieth of a second in stereo, of audio with a tick of two milliseconds every half second.
bool appendAudio(RecordingFile& movie, double time) {
    constexpr std::size_t frames = 800;
    std::vector<float> samples;
    for (std::size_t i = 0; i < frames; ++i) {
        const double now = time + static_cast<double>(i) / 48'000, sinceTick = now - 0.5 * std::floor(now / 0.5);
        const double value = sinceTick < 0.002 ? 0.8 * std::sin(std::numbers::pi * sinceTick / 0.002) : 0;
        samples.insert(samples.end(), 2, static_cast<float>(value));
    }
    return movie.appendAudio({startTime + time, samples.data(), frames});
}

struct Shown {
    std::optional<unsigned> number;
    double time;
};

class RecordingFileTest : public testing::Test {
protected:
    [[nodiscard]] std::vector<Shown> frames() const {
        std::vector<Shown> shown;
        try {
            VideoReader reader(file);
            while (const auto frame = reader.next())
                shown.push_back({barCode::read(*frame, barCode::areaOf(*frame)), frame->time()});
        } catch (const MediaError&) {  // it may have no frame
        }
        return shown;
    }

    TemporaryFolder folder;
    const fs::path file = folder / "recording.mp4";
};

class Codecs : public RecordingFileTest, public testing::WithParamInterface<VideoCodec> {};

TEST_P(Codecs, keepFramesTheirTimesAndTheAudioInSync) {
    RecordingFile movie(file, settings(GetParam()));
    EXPECT_TRUE(folder.isEmpty());
    EXPECT_FALSE(append(movie, 0, 0));
    ASSERT_TRUE(movie.begin(startTime, AudioFormat{}));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    // The first two are before time 0; then uneven times, and one time twice.
    const std::vector<double> given{-0.03, -0.01, 0.0166, 0.0333334, 0.5, 0.52, 3.0, 3.0, 9.9, 9.95};
    const std::vector<double> expected{0, 0.000001, 0.0166, 0.033333, 0.5, 0.52, 3.0, 3.000001, 9.9, 9.95};
    for (unsigned i = 0; i < given.size(); ++i) ASSERT_TRUE(appendSoon(movie, i, given[i]));
    for (int i = -30; i < 600; ++i) {
        while (!appendAudio(movie, i / 60.0)) std::this_thread::yield();  // ten seconds at once are too much
    }
    movie.finish(60);
    EXPECT_EQ(movie.failure(), std::nullopt);
    EXPECT_EQ(movie.progress().framesWritten, 10);
    EXPECT_EQ(movie.progress().bytes, fs::file_size(file));
    EXPECT_FALSE(append(movie, 0, 20));

    const std::vector<Shown> shown = frames();
    ASSERT_EQ(shown.size(), expected.size());
    for (unsigned i = 0; i < shown.size(); ++i) {
        EXPECT_EQ(shown[i].number, i);
        EXPECT_DOUBLE_EQ(shown[i].time, expected[i]);
    }
    const std::vector<float> audio = readAll(file).channels.at(0);
    EXPECT_NEAR(static_cast<double>(audio.size()), 480'000, 1024);
    for (std::size_t tick = 1; tick < 19; ++tick) {
        const auto begin = audio.begin() + static_cast<std::ptrdiff_t>(24'000 * tick - 1000);
        EXPECT_NEAR(static_cast<double>(std::max_element(begin, begin + 2000) - begin), 1000 + 48, 10) << tick;
    }
}

TEST_P(Codecs, putAKeyFrameNearEveryFrame) {
    RecordingFile movie(file, settings(GetParam()));
    ASSERT_TRUE(movie.begin(startTime, std::nullopt));
    unsigned count = 0;
    for (double time = 0; time < 30; time += time < 6 ? 1 / 60.0 : 0.7)
        ASSERT_TRUE(appendSoon(movie, count++, time));
    movie.finish(60);
    InputFile input(file, AVMEDIA_TYPE_VIDEO);
    const PacketHandle packet = makePacket();
    double latest = 0, farthest = 0;
    for (; input.read(*packet); --count) {
        const double time = static_cast<double>(packet->pts) * 1e-6;
        if ((packet->flags & AV_PKT_FLAG_KEY) != 0) latest = time;
        farthest = std::max(farthest, time - latest);
    }
    EXPECT_EQ(count, 0U);
    EXPECT_LT(farthest, 4);
}

INSTANTIATE_TEST_SUITE_P(All, Codecs, testing::Values(VideoCodec::hevc, VideoCodec::h264),
                         [](const auto& instance) {
                             return instance.param == VideoCodec::hevc ? "hevc" : "h264";
                         });

TEST_F(RecordingFileTest, dropsAndCountsFramesWhileTheEncoderIsBehind) {
    std::latch isEncoding(1), mayGoOn(1);
    bool isFirst = true;
    RecordingFile movie(file, settings(VideoCodec::hevc, [&] {
                            if (std::exchange(isFirst, false)) isEncoding.count_down();
                            mayGoOn.wait();
                        }));
    ASSERT_TRUE(movie.begin(startTime, std::nullopt));
    ASSERT_TRUE(append(movie, 0, 0, 7));  // what was missed before the first does not count
    isEncoding.wait();
    for (unsigned i = 1; i < 30; ++i)
        EXPECT_EQ(append(movie, i, i / 60.0, i == 9 ? 3 : 0), i <= RecordingFile::queuedFrames);
    EXPECT_EQ(movie.progress().framesDropped, 29 - static_cast<int>(RecordingFile::queuedFrames) + 3);
    mayGoOn.count_down();
    ASSERT_TRUE(appendSoon(movie, 40, 40 / 60.0));
    movie.finish(60);
    const std::vector<Shown> shown = frames();
    ASSERT_EQ(shown.size(), RecordingFile::queuedFrames + 2);
    EXPECT_EQ(movie.progress().framesWritten, static_cast<std::int64_t>(shown.size()));
    for (unsigned i = 0; i + 1 < shown.size(); ++i) EXPECT_EQ(shown[i].number, i);
    EXPECT_EQ(shown.back().number, 40U);
    EXPECT_NEAR(shown.back().time, 40 / 60.0, 1e-6);
}

TEST_F(RecordingFileTest, finishesInTimeWithoutWhatWouldTakeLonger) {
    std::latch mayGoOn(1);
    RecordingFile movie(file, settings(VideoCodec::hevc, [&] { mayGoOn.wait(); }));
    ASSERT_TRUE(movie.begin(startTime, AudioFormat{}));
    for (unsigned i = 0; i < 10; ++i) ASSERT_TRUE(append(movie, i, i / 60.0));
    std::jthread stopper([&] { movie.finish(0); });
    // Once it takes no audio, not even an empty block, it is finishing and the time is up.
    while (movie.appendAudio({startTime, nullptr, 0})) std::this_thread::yield();
    mayGoOn.count_down();
    stopper.join();
    EXPECT_EQ(movie.failure(), std::nullopt);
    EXPECT_LE(frames().size(), 1U);  // the one that was being encoded
}

TEST_F(RecordingFileTest, reportsAFullDiskAndKeepsWhatWasWritten) {
    for (const rlim_t limit : {rlim_t{3'000}, rlim_t{60'000}}) {
        SCOPED_TRACE(limit);
        fs::remove(file);
        EXPECT_TRUE(holdsOnFullDisk(limit, [&] {
            RecordingFile movie(file, settings(VideoCodec::h264));
            if (!movie.begin(startTime, AudioFormat{})) return false;
            unsigned i = 0;
            while (appendSoon(movie, i * 7919U, i / 60.0)) {
                appendAudio(movie, i / 60.0);
                if (++i > 100'000) return false;
            }
            movie.finish(60);
            const std::string failure = movie.failure().value_or("");
            return failure.find("recording.mp4: cannot write: ") != std::string::npos &&
                   failure.find('\n') == std::string::npos && !appendAudio(movie, i / 60.0) &&
                   !append(movie, 0, 5000);
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

TEST_F(RecordingFileTest, keepsTheTimesOfAScreenThatIsStillForHours) {
    RecordingFile movie(file, settings());
    ASSERT_TRUE(movie.begin(startTime, std::nullopt));
    ASSERT_TRUE(appendSoon(movie, 1, 0));
    ASSERT_TRUE(appendSoon(movie, 2, 2));
    ASSERT_TRUE(appendSoon(movie, 3, 20'000));
    movie.finish(60);
    const std::vector<Shown> shown = frames();
    for (const Shown& frame : shown) {
        EXPECT_EQ(frame.number, frame.time == 0 ? 1U : frame.time < 20'000 ? 2U : 3U);
        EXPECT_LE(frame.time, 20'000);
    }
    ASSERT_FALSE(shown.empty());
    EXPECT_EQ(shown.back().time, 20'000);
}

}  // namespace
}  // namespace lumenwhirl
