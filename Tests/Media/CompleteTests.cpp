#include "Media/AudioReader.h"
#include "Media/AudioWriter.h"
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
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;
using Kind = MediaError::Kind;

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
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
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
    for (const VideoCodec codec : {VideoCodec::h264, VideoCodec::hevc}) {
        const TemporaryFolder folder;
        const fs::path file = folder / std::string(249, 'n');
        record(file, codec);
        const Fragments fragments = fragmentsOf(file);
        EXPECT_TRUE(fragments.isFragmented);
        EXPECT_EQ(fragments.wholeBytes, static_cast<std::int64_t>(fs::file_size(file)));
        EXPECT_NEAR(static_cast<double>(fragments.packets), frameCount + frameCount * 800 / 1024 + 3, 2);
        Remuxer::complete(file);
        expectPlain(file);
        expectNothingElseIn(folder);
        EXPECT_EQ(playedFrames(file), frameCount);
        EXPECT_NEAR(static_cast<double>(playedSamples(file)), frameCount * 800, 1024);
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
        std::ofstream(file, std::ios::binary).write(content.data(), static_cast<std::streamsize>(size));
        try {
            Remuxer::complete(file);
        } catch (const MediaError& error) {
            // Cut before the end of the first fragment with frames.
            EXPECT_EQ(previous, 0U);
            EXPECT_EQ(error.kind(), Kind::damaged) << error.what();
            expectNothingElseIn(folder);
            continue;
        }
        expectPlain(file);
        expectNothingElseIn(folder);
        const unsigned count = playedFrames(file);
        EXPECT_EQ(count % 10, 0U);
        EXPECT_GE(count, previous);
        EXPECT_GE(playedSamples(file) + 4096, count * 800U);
        previous = count;
    }
    EXPECT_EQ(previous, frameCount - 10);
}

TEST(Complete, takesVideoOrAudioAlone) {
    const TemporaryFolder folder;
    record(folder / "recording.mp4", VideoCodec::h264, false);
    Remuxer::complete(folder / "recording.mp4");
    EXPECT_EQ(playedFrames(folder / "recording.mp4"), frameCount);
    EXPECT_NEAR(VideoReader(folder / "recording.mp4").info().duration,
                static_cast<double>(timeOf(frameCount - 1)) * 1e-6 + 1 / 60.0, 2e-6);
    {
        AudioWriter writer(folder / "mic.m4a", {.sampleRate = 48'000, .channels = 1}, FileLayout::fragmented);
        for (int i = 0; i < 20; ++i) {
            if (i == 10) writer.flush();
            std::vector<float> samples(4800);
            std::fill_n(samples.begin(), 5, 0.8F);
            writer.write({{samples}});
        }
    }
    Remuxer::complete(folder / "mic.m4a");
    expectPlain(folder / "mic.m4a");
    EXPECT_NEAR(static_cast<double>(playedSamples(folder / "mic.m4a")), 48'000, 3072);
}

TEST(Complete, reportsThatNothingWasRecorded) {
    const TemporaryFolder folder;
    const fs::path file = folder / "recording.mp4";
    const auto kindOf = [&] {
        try {
            Remuxer::complete(file);
        } catch (const MediaError& error) {
            EXPECT_NE(std::string(error.what()).find("recording.mp4: "), std::string::npos);
            return std::optional(error.kind());
        }
        return std::optional<Kind>();
    };
    EXPECT_EQ(kindOf(), Kind::cannotOpen);
    std::ofstream(file, std::ios::binary).flush();
    EXPECT_EQ(kindOf(), Kind::damaged);
    for (const bool hasAudio : {false, true}) {
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
    std::ofstream(file, std::ios::binary | std::ios::app) << "half a fragment";
    EXPECT_TRUE(holdsOnFullDisk(content.size() / 2, [&] {
        try {
            Remuxer::complete(file);
        } catch (const MediaError& error) {
            return error.kind() == Kind::cannotWrite;
        }
        return false;
    }));
    expectNothingElseIn(folder);
    EXPECT_EQ(contentsOf(file), content);
}

TEST(Mux, takesFragmentedFiles) {
    const TemporaryFolder folder;
    record(folder / "recording.mp4", VideoCodec::h264, false);
    {
        AudioWriter writer(folder / "mic.m4a", {.sampleRate = 48'000, .channels = 1}, FileLayout::fragmented);
        for (int i = 0; i < 20; ++i) {
            std::vector<float> samples(4800);
            std::fill_n(samples.begin(), 5, 0.8F);
            writer.write({{samples}});
            writer.flush();
        }
        writer.finish();
    }
    const fs::path both = folder / "both.mp4";
    Remuxer::mux(folder / "recording.mp4", folder / "mic.m4a", both);
    EXPECT_EQ(playedFrames(both), frameCount);
    EXPECT_NEAR(static_cast<double>(playedSamples(both)), static_cast<double>(timeOf(frameCount)) * 0.048, 1100);
    const std::string content = contentsOf(both);
    EXPECT_LT(content.find("moov"), content.find("mdat"));
}

}  // namespace
}  // namespace lumenwhirl
