#include "Media/AudioReader.h"
#include "Media/InputFile.h"
#include "Media/MediaError.h"
#include "Media/VideoReader.h"
#include "Recorder/RecordingFile.h"
#include "Tests/Support/Files.h"
#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <latch>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;

constexpr int width = 320, height = 128;
constexpr double startTime = 1000;

RecordingFile::Settings settings(VideoCodec codec = VideoCodec::hevc) {
    return {
        .width = width, .height = height, .codec = codec, .encoder = EncoderChoice::software, .beforeFrame = {}};
}

/// A picture with a number, in grey.
class Numbered {
public:
    Numbered(unsigned number, double time, int pictureWidth = width, int pictureHeight = height)
        : bytes_(static_cast<std::size_t>(pictureWidth) * static_cast<std::size_t>(pictureHeight) * 4) {
        Picture code(pictureWidth, pictureHeight, PixelFormat::yuv420p8);
        barCode::paint(code, number, barCode::areaOf(code));
        for (int y = 0; y < pictureHeight; ++y)
            for (int x = 0; x < pictureWidth; ++x)
                std::fill_n(bytes_.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(pictureWidth) +
                                             static_cast<std::size_t>(x)) *
                                                4,
                            4, static_cast<std::uint8_t>(code.plane(0)[y * code.stride(0) + x] > 128 ? 255 : 0));
        frame_.time = time;
        frame_.pixels = bytes_.data();
        frame_.stride = std::ptrdiff_t{4} * pictureWidth;
        frame_.width = pictureWidth;
        frame_.height = pictureHeight;
    }
    [[nodiscard]] const CapturedFrame& frame() const { return frame_; }

private:
    std::vector<std::uint8_t> bytes_;
    CapturedFrame frame_;
};

/// Gives the picture again until there is room for it; false when the file takes no more.
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

/// All that plays, also of a file that ends anywhere.
std::vector<Shown> picturesOf(const fs::path& file, std::optional<barCode::Area> area = std::nullopt) {
    std::vector<Shown> pictures;
    try {
        VideoReader reader(file);
        while (const auto frame = reader.next())
            pictures.push_back({barCode::read(*frame, area.value_or(barCode::areaOf(*frame))), frame->time()});
    } catch (const MediaError&) {  // as it may after a kill
    }
    return pictures;
}

std::vector<float> audioOf(const fs::path& file) {
    std::vector<float> samples;
    try {
        AudioReader reader(file);
        AudioBuffer buffer;
        while (reader.read(buffer, 4096))
            samples.insert(samples.end(), buffer.channels[0].begin(), buffer.channels[0].end());
    } catch (const MediaError&) {
    }
    return samples;
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

TEST_P(Codecs, keepPicturesTheirTimesAndTheAudioBesideThem) {
    const TemporaryFolder folder;
    const fs::path file = folder / "recording.mp4";
    RecordingFile movie(file, settings(GetParam()));
    EXPECT_TRUE(folder.isEmpty());
    EXPECT_FALSE(movie.appendVideo(Numbered(0, startTime).frame()));
    ASSERT_TRUE(movie.begin(startTime, AudioFormat{}));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    // The first was taken before time 0, the second too; then uneven times, and a time that is given twice.
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

    const std::vector<Shown> pictures = picturesOf(file);
    ASSERT_EQ(pictures.size(), expected.size());
    for (unsigned i = 0; i < pictures.size(); ++i) {
        EXPECT_EQ(pictures[i].number, i);
        EXPECT_DOUBLE_EQ(pictures[i].time, expected[i]);
    }
    const std::vector<float> audio = audioOf(file);
    EXPECT_NEAR(static_cast<double>(audio.size()), 480'000, 1024);
    for (std::size_t tick = 1; tick < 19; ++tick) {
        const auto begin = audio.begin() + static_cast<std::ptrdiff_t>(24'000 * tick - 1000);
        EXPECT_NEAR(static_cast<double>(std::max_element(begin, begin + 2000) - begin), 1000 + 48, 10) << tick;
    }
}

TEST_P(Codecs, giveNoPictureAPlaceToStartFromThatIsFarAway) {
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

TEST(RecordingFile, playsUpToItsLastSecondWhenItsProcessIsKilled) {
    for (const unsigned killedAfter : {1U, 70U, 300U}) {
        SCOPED_TRACE(killedAfter);
        const TemporaryFolder folder;
        const fs::path file = folder / "recording.mp4";
        std::array<int, 2> pipe{};
        ASSERT_EQ(::pipe(pipe.data()), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(pipe[0]);
            RecordingFile movie(file, settings());
            if (!movie.begin(startTime, AudioFormat{})) ::_exit(1);
            for (unsigned i = 0;; ++i) {
                const bool isTaken =
                    appendAudio(movie, i / 60.0) && append(movie, Numbered(i, startTime + i / 60.0).frame());
                if (!isTaken || ::write(pipe[1], "", 1) != 1) ::_exit(1);
            }
        }
        ::close(pipe[1]);
        unsigned count = 0;
        char byte = 0;
        while (count < killedAfter && ::read(pipe[0], &byte, 1) == 1) ++count;
        ::kill(child, SIGKILL);
        while (::read(pipe[0], &byte, 1) == 1) ++count;
        ::close(pipe[0]);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));

        const std::vector<Shown> pictures = picturesOf(file);
        EXPECT_GE(pictures.size() + 60, count);
        for (unsigned i = 0; i < pictures.size(); ++i) {
            ASSERT_EQ(pictures[i].number, i);
            ASSERT_NEAR(pictures[i].time, i / 60.0, 1e-6);
        }
        EXPECT_GE(audioOf(file).size() + 48'000, count * 800UL);
    }
}

TEST(RecordingFile, doesNotKeepTheLastPictureFromTheDiskWhileTheScreenStandsStill) {
    const TemporaryFolder folder;
    const fs::path file = folder / "recording.mp4";
    RecordingFile movie(file, settings());
    ASSERT_TRUE(movie.begin(startTime, std::nullopt));
    ASSERT_TRUE(movie.appendVideo(Numbered(1, startTime).frame()));
    ASSERT_TRUE(movie.appendVideo(Numbered(2, startTime + 0.1).frame()));
    // However long it takes; if it never does, the test does not end.
    while (picturesOf(file).size() < 2) std::this_thread::yield();
    EXPECT_EQ(picturesOf(file).back().number, 2U);
    EXPECT_EQ(movie.progress().bytes, fs::file_size(file));
}

TEST(RecordingFile, dropsPicturesWhileTheEncoderIsBehind) {
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
    const std::vector<Shown> pictures = picturesOf(file);
    ASSERT_EQ(pictures.size(), RecordingFile::queuedFrames + 2);
    EXPECT_EQ(movie.progress().framesWritten, static_cast<std::int64_t>(pictures.size()));
    for (unsigned i = 0; i + 1 < pictures.size(); ++i) EXPECT_EQ(pictures[i].number, i);
    EXPECT_EQ(pictures.back().number, 40U);
    EXPECT_NEAR(pictures.back().time, 40 / 60.0, 1e-6);
}

TEST(RecordingFile, finishesWithoutWhatWouldTakeTooLong) {
    const TemporaryFolder folder;
    std::latch mayGoOn(1);
    RecordingFile::Settings slow = settings();
    slow.beforeFrame = [&] { mayGoOn.wait(); };
    const fs::path file = folder / "recording.mp4";
    RecordingFile movie(file, slow);
    ASSERT_TRUE(movie.begin(startTime, AudioFormat{}));
    for (unsigned i = 0; i < 10; ++i) ASSERT_TRUE(movie.appendVideo(Numbered(i, startTime + i / 60.0).frame()));
    std::jthread stopper([&] { movie.finish(0); });
    // Once it takes no sound any more, not even none, it is finishing, and the time is up.
    while (movie.appendAudio({startTime, nullptr, 0})) std::this_thread::yield();
    mayGoOn.count_down();
    stopper.join();
    EXPECT_EQ(movie.failure(), std::nullopt);
    EXPECT_LE(picturesOf(file).size(), 1U);  // the one that was being encoded
}

TEST(RecordingFile, tellsThatTheDiskIsFullAndKeepsWhatThereIs) {
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
        // Nothing is torn: it reads to its end without complaint.
        VideoReader reader(file);
        unsigned count = 0;
        while (const auto frame = reader.next())
            EXPECT_EQ(barCode::read(*frame, barCode::areaOf(*frame)), count++ * 7919U % 65536);
        EXPECT_TRUE(limit < 10'000 || count > 0);
        EXPECT_LE(fs::file_size(file), limit);
    }
}

TEST(RecordingFile, canBeBegunAgainWhereItCouldNot) {
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
    EXPECT_EQ(picturesOf(folder / "package/recording.mp4").size(), 1U);
}

TEST(RecordingFile, keepsTheTimesOfAScreenThatStandsStillForHours) {
    const TemporaryFolder folder;
    const fs::path file = folder / "recording.mp4";
    RecordingFile movie(file, settings());
    ASSERT_TRUE(movie.begin(startTime, std::nullopt));
    ASSERT_TRUE(append(movie, Numbered(1, startTime).frame()));
    ASSERT_TRUE(append(movie, Numbered(2, startTime + 2).frame()));
    ASSERT_TRUE(append(movie, Numbered(3, startTime + 20'000).frame()));
    movie.finish(60);
    const std::vector<Shown> pictures = picturesOf(file);
    for (const Shown& picture : pictures) {
        EXPECT_EQ(picture.number, picture.time == 0 ? 1U : picture.time < 20'000 ? 2U : 3U);
        EXPECT_LE(picture.time, 20'000);
    }
    ASSERT_FALSE(pictures.empty());
    EXPECT_EQ(pictures.back().time, 20'000);
}

TEST(RecordingFile, followsAWindowThatIsResized) {
    const TemporaryFolder folder;
    RecordingFile::Settings odd = settings();
    odd.width = width - 1;
    const fs::path file = folder / "recording.mp4";
    RecordingFile movie(file, odd);
    ASSERT_TRUE(movie.begin(startTime, std::nullopt));
    ASSERT_TRUE(append(movie, Numbered(1, startTime, 160, 64).frame()));
    ASSERT_TRUE(append(movie, Numbered(2, startTime + 1, 640, 256).frame()));
    ASSERT_TRUE(append(movie, Numbered(3, startTime + 2).frame()));
    movie.finish(60);
    EXPECT_EQ(picturesOf(file, barCode::Area{0, 0, 160, 64}).at(0).number, 1U);
    EXPECT_EQ(picturesOf(file).at(1).number, 2U);
    EXPECT_EQ(picturesOf(file).at(2).number, 3U);
}

}  // namespace
}  // namespace lumenwhirl
