#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"
#include "Exporter/Exporter.h"
#include "Media/MediaLog.h"
#include "Media/VideoReader.h"
#include "Tests/Support/Files.h"
#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace lumenwhirl::recordings {

inline constexpr int width = 160, height = 90;  // of the canvas as well, so that no pixel is resampled
inline constexpr int sampleRate = 48000;

/// How to make a recording: the times and pictures of its frames, and its audio if any.
struct Recording {
    std::vector<std::int64_t> ticks;  // of timeBase
    std::function<Picture(unsigned)> picture;
    Rational frameRate{30, 1}, timeBase{1, 600};
    std::optional<AudioBuffer> audio;  // at sampleRate
};

[[nodiscard]] inline Picture flat(std::uint8_t luma) {
    Picture frame(width, height, PixelFormat::yuv420p8);
    barCode::fill(frame, luma);
    return frame;
}

/// Shows its number, so that an exported frame tells which one it was made from.
[[nodiscard]] inline Picture numbered(unsigned number) {
    Picture frame = flat(barCode::black);
    barCode::paint(frame, number, barCode::areaOf(frame));
    return frame;
}

/// `count` frames numbered from 0, 1/`fps` s apart.
[[nodiscard]] inline Recording steady(int count, int fps) {
    Recording recording{.ticks = {}, .picture = numbered, .frameRate = {fps, 1}, .audio = {}};
    for (int i = 0; i < count; ++i) recording.ticks.push_back(std::int64_t{i} * 600 / fps);
    return recording;
}

inline void write(const std::filesystem::path& file, const Recording& recording) {
    VideoSettings video;
    video.width = width;
    video.height = height;
    video.frameRate = recording.frameRate;
    video.timeBase = recording.timeBase;
    video.software.preset = "ultrafast";
    video.software.threads = 1;
    movies::write(file, {recording.ticks, recording.picture, video, recording.audio});
}

/// A log without events, on a display whose canvas has the recording's size.
[[nodiscard]] inline EventLog quietLog() {
    EventLog events;
    events.recording.display.pixelWidth = events.recording.display.pointWidth = width;
    events.recording.display.pixelHeight = events.recording.display.pointHeight = height;
    return events;
}

/// The recording edge to edge with nothing over it, uncut.
[[nodiscard]] inline ProjectSettings plainProject(double duration) {
    ProjectSettings settings = ProjectSettings::makeDefault(duration, false, false);
    settings.style.padding = 0;
    settings.style.cornerRadius = 0;
    settings.style.shadow = "none";
    settings.zoom.automatic = false;
    return settings;
}

struct Shown {
    VideoFrame frame;
    Rational timeBase;
    /// The number it shows, if that can be read clearly.
    [[nodiscard]] std::optional<unsigned> number() const { return barCode::read(frame, barCode::areaOf(frame)); }
    /// In 600ths of a second if that is a whole number, otherwise -1.
    [[nodiscard]] std::int64_t ticks() const {
        const std::int64_t scaled = frame.pts() * timeBase.numerator * 600;
        return scaled % timeBase.denominator == 0 ? scaled / timeBase.denominator : -1;
    }
};

[[nodiscard]] inline std::vector<Shown> framesOf(const std::filesystem::path& file) {
    VideoReader reader(file);
    std::vector<Shown> frames;
    while (auto frame = reader.next()) frames.push_back({*frame, reader.info().timeBase});
    return frames;
}

/// A folder with a recording in it. Whatever a test does, no temporary file may be left anywhere.
class Exporting : public testing::Test {
protected:
    static void SetUpTestSuite() { silenceMediaLibraries(); }
    Exporting() { ::setenv("TMPDIR", temporary.path().c_str(), 1); }
    ~Exporting() override { ::unsetenv("TMPDIR"); }

    void TearDown() override {
        EXPECT_TRUE(temporary.isEmpty());
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            EXPECT_FALSE(entry.path().filename().string().starts_with(".")) << entry.path();
    }

    void record(const Recording& how) const { write(source, how); }
    void exportTo(const std::filesystem::path& destination, const ProjectSettings& settings,
                  const Exporter::Options& options = {}, std::stop_token stop = {}) const {
        Exporter::exportRecording(source, events, settings, destination, options, std::move(stop));
    }
    /// The file of an export.
    [[nodiscard]] std::filesystem::path exported(const ProjectSettings& settings,
                                                 const Exporter::Options& options = {}) const {
        exportTo(folder / "out.mp4", settings, options);
        return folder / "out.mp4";
    }
    [[nodiscard]] std::set<std::string> filesLeft() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            names.insert(entry.path().filename().string());
        return names;
    }

    const TemporaryFolder folder, temporary;
    const std::filesystem::path source = folder / "recording.mp4";
    EventLog events = quietLog();
};

}  // namespace lumenwhirl::recordings
