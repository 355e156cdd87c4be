#include "Media/AudioReader.h"
#include "Media/Fragments.h"
#include "Media/LiveWriter.h"
#include "Media/MediaError.h"
#include "Media/Remuxer.h"
#include "Media/VideoReader.h"
#include "Tests/Support/Files.h"
#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;
using Kind = MediaError::Kind;
using movies::thrownBy;

constexpr unsigned frameCount = 90;

/// Uneven, in microseconds.
std::int64_t timeOf(unsigned frame) {
    return std::int64_t{frame} * 16'667 + frame % 3 * 1'000;
}

/// Fragments of ten frames and the audio that belongs to them: a pulse every 0.1 s.
void record(const fs::path& file, VideoCodec codec = VideoCodec::h264, bool hasAudio = true) {
    VideoSettings video = movies::settings(codec);
    video.timeBase = {1, 1'000'000};
    LiveWriter writer(file, video);
    writer.start(hasAudio ? std::optional(AudioSettings{.sampleRate = 48'000, .channels = 1}) : std::nullopt);
    for (unsigned i = 0; i < frameCount; ++i) {
        writer.write(movies::numbered(i), timeOf(i));
        std::vector<float> samples(800);
        for (std::size_t s = 0; s < 800; ++s)
            if ((i * 800 + s) % 4800 < 5) samples[s] = 0.8F;
        const float* const channel = samples.data();
        if (hasAudio) writer.writeAudio(&channel, samples.size());
        if (i % 10 == 9) writer.flush();
    }
    writer.finish();
}

void expectNothingElseIn(const TemporaryFolder& folder) {
    EXPECT_EQ(namesIn(folder.path()).size(), 1U);
}

/// How many frames play; checks that they begin with the first, in their places. The same for the audio's pulses.
unsigned playedFrames(const fs::path& file) {
    VideoReader reader(file);
    unsigned count = 0;
    for (; const auto frame = reader.next(); ++count) {
        EXPECT_EQ(movies::numberOf(*frame), count);
        EXPECT_EQ(std::llround(frame->time() * 1e6), timeOf(count));
    }
    EXPECT_NEAR(reader.info().duration, static_cast<double>(timeOf(count - 1)) * 1e-6 + 1 / 60.0, 0.05);
    return count;
}
std::size_t playedSamples(const fs::path& file) {
    AudioReader reader(file);
    AudioBuffer audio;
    static_cast<void>(reader.read(audio, 1'000'000));
    const std::vector<float>& samples = audio.channels[0];
    for (std::size_t pulse = 4800; pulse + 1000 < samples.size(); pulse += 4800) {
        const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(pulse - 1000);
        EXPECT_NEAR(static_cast<double>(std::max_element(begin, begin + 1100) - begin), 1002, 6) << pulse;
    }
    return samples.size();
}

void expectPlain(const fs::path& file) {
    const std::string content = contentsOf(file);
    EXPECT_LT(content.find("moov"), content.find("mdat"));
    EXPECT_EQ(content.find("moof"), std::string::npos);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST(Complete, makesAPlainFile) {
    for (const auto& [codec, hasAudio] :
         {std::pair{VideoCodec::h264, true}, {VideoCodec::hevc, true}, {VideoCodec::h264, false}}) {
        const TemporaryFolder folder;
        const fs::path file = folder / std::string(249, 'n');
        record(file, codec, hasAudio);
        const Fragments fragments = fragmentsOf(file);
        EXPECT_TRUE(fragments.isFragmented);
        EXPECT_EQ(fragments.wholeBytes, static_cast<std::int64_t>(fs::file_size(file)));
        const unsigned audioPackets = hasAudio ? frameCount * 800 / 1024 + 3 : 0;
        EXPECT_NEAR(static_cast<double>(fragments.packets), frameCount + audioPackets, 2);
        Remuxer::complete(file);
        expectPlain(file);
        expectNothingElseIn(folder);
        EXPECT_EQ(playedFrames(file), frameCount);
        if (hasAudio) {
            EXPECT_NEAR(static_cast<double>(playedSamples(file)), frameCount * 800, 1024);
        } else {  // the last frame lasts a sixtieth
            EXPECT_NEAR(VideoReader(file).info().duration,
                        static_cast<double>(timeOf(frameCount - 1)) * 1e-6 + 1 / 60.0, 2e-6);
        }
        EXPECT_EQ(contentsOf(file).find("hvc1") != std::string::npos, codec == VideoCodec::hevc);
        // A plain file stays as it is.
        const std::string content = contentsOf(file);
        Remuxer::complete(file);
        EXPECT_EQ(contentsOf(file), content);
        EXPECT_FALSE(fragmentsOf(file).isFragmented);
    }
}

TEST(Complete, savesTheWholeFragmentsOfAFileCutAnywhere) {
    const TemporaryFolder whole;
    record(whole / "recording.mp4");
    const std::string content = contentsOf(whole / "recording.mp4");
    const std::size_t header = content.find("moof") - 4;
    unsigned previous = 0;
    for (std::size_t size = header / 2; size < content.size(); size += content.size() / 41) {
        SCOPED_TRACE(size);
        const TemporaryFolder folder;
        const fs::path file = folder / "recording.mp4";
        writeFile(file, content.substr(0, size));
        const auto kind = thrownBy([&] { Remuxer::complete(file); });
        expectNothingElseIn(folder);
        if (kind) {  // cut before the end of the first fragment with frames
            EXPECT_EQ(previous, 0U);
            EXPECT_EQ(kind, Kind::damaged);
            continue;
        }
        expectPlain(file);
        const unsigned count = playedFrames(file);
        EXPECT_EQ(count % 10, 0U);
        EXPECT_GE(count, previous);
        EXPECT_GE(playedSamples(file) + 4096, count * 800U);
        previous = count;
    }
    EXPECT_EQ(previous, frameCount - 10);
}

TEST(Complete, reportsThatNothingWasRecorded) {
    const TemporaryFolder folder;
    const fs::path file = folder / "recording.mp4";
    std::string message;
    const auto kindOf = [&] { return thrownBy([&] { Remuxer::complete(file); }, &message); };
    EXPECT_EQ(kindOf(), Kind::cannotOpen);
    EXPECT_NE(message.find("recording.mp4: "), std::string::npos);
    writeFile(file, "");
    EXPECT_EQ(kindOf(), Kind::damaged);
    EXPECT_NE(message.find("recording.mp4: "), std::string::npos);
    for (const bool hasAudio : {false, true}) {
        fs::remove(file);
        VideoSettings video = movies::settings();
        video.timeBase = {1, 1'000'000};
        LiveWriter writer(file, video);
        writer.start(hasAudio ? std::optional(AudioSettings{}) : std::nullopt);
        EXPECT_EQ(kindOf(), Kind::damaged);
    }
    expectNothingElseIn(folder);
}

TEST(Complete, leavesThePlayableFileOnAFullDisk) {
    const TemporaryFolder folder;
    const fs::path file = folder / "recording.mp4";
    record(file);
    const std::string content = contentsOf(file);
    writeFile(file, content + "half a fragment");
    EXPECT_TRUE(holdsOnFullDisk(content.size() / 2,
                                [&] { return thrownBy([&] { Remuxer::complete(file); }) == Kind::cannotWrite; }));
    expectNothingElseIn(folder);
    EXPECT_EQ(contentsOf(file), content);
}

}  // namespace
}  // namespace lumenwhirl
