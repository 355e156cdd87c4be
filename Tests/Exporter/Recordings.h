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
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace lumenwhirl::recordings {

inline constexpr int width = 160, height = 90;  // of the canvas as well, so that no pixel is resampled
inline constexpr int sampleRate = 48000;

using Recording = movies::Movie;

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

/// Frames numbered from 0 at these ticks of `timeBase`.
[[nodiscard]] inline Recording atTicks(std::vector<std::int64_t> ticks, Rational timeBase = {1, 600}) {
    Recording recording{std::move(ticks), numbered, {}};
    recording.video.width = width;
    recording.video.height = height;
    recording.video.frameRate = {30, 1};
    recording.video.timeBase = timeBase;
    recording.video.software.preset = "ultrafast";
    recording.video.software.threads = 1;
    return recording;
}

/// `count` frames numbered from 0, 1/`fps` s apart.
[[nodiscard]] inline Recording steady(int count, int fps) {
    Recording recording = atTicks(movies::steady(count, 600 / fps));
    recording.video.frameRate = {fps, 1};
    return recording;
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

/// One that changes nothing, and one with a cut.
[[nodiscard]] inline std::vector<ProjectSettings> plainAndCut(double duration, TimeRange cut) {
    std::vector<ProjectSettings> projects(2, plainProject(duration));
    projects[1].timeline.cuts = {cut};
    return projects;
}

struct Shown {
    VideoFrame frame;
    /// The number it shows, if that can be read clearly.
    [[nodiscard]] std::optional<unsigned> number() const { return barCode::read(frame, barCode::areaOf(frame)); }
};

[[nodiscard]] inline std::vector<Shown> framesOf(const std::filesystem::path& file) {
    VideoReader reader(file);
    std::vector<Shown> frames;
    while (auto frame = reader.next()) frames.push_back({*frame});
    return frames;
}

[[nodiscard]] inline std::vector<unsigned> numbersOf(const std::vector<Shown>& frames) {
    std::vector<unsigned> numbers;
    for (const Shown& each : frames) numbers.push_back(each.number().value_or(~0U));
    return numbers;
}

/// A folder with a recording in it. Whatever a test does, no temporary file may be left anywhere.
class Exporting : public testing::Test {
protected:
    static void SetUpTestSuite() { silenceMediaLibraries(); }
    Exporting() { ::setenv("TMPDIR", temporary.path().c_str(), 1); }
    ~Exporting() override { ::unsetenv("TMPDIR"); }

    void TearDown() override {
        EXPECT_TRUE(temporary.isEmpty());
        for (const std::string& name : namesIn(folder.path())) EXPECT_FALSE(name.starts_with(".")) << name;
    }

    void record(const Recording& how) const { movies::write(source, how); }
    void exportTo(const std::filesystem::path& destination, const ProjectSettings& settings,
                  const Exporter::Options& options = {}, std::stop_token stop = {}) const {
        Exporter::exportRecording(source, events, settings, destination, options, std::move(stop));
    }
    struct Failure {
        Exporter::ExportError::Kind kind;
        std::string message;
    };
    [[nodiscard]] std::optional<Failure> failureOf(const std::filesystem::path& file,
                                                   const ProjectSettings& settings,
                                                   const Exporter::Options& options = {},
                                                   std::stop_token stop = {}) const {
        try {
            exportTo(file, settings, options, std::move(stop));
        } catch (const Exporter::ExportError& error) {
            return Failure{error.kind(), error.what()};
        }
        return std::nullopt;
    }
    /// The file of an export.
    [[nodiscard]] std::filesystem::path exported(const ProjectSettings& settings,
                                                 const Exporter::Options& options = {}) const {
        exportTo(folder / "out.mp4", settings, options);
        return folder / "out.mp4";
    }
    using Names = std::set<std::string>;
    [[nodiscard]] Names filesLeft() const { return namesIn(folder.path()); }

    const TemporaryFolder folder, temporary;
    const std::filesystem::path source = folder / "recording.mp4";
    EventLog events = quietLog();
};

}  // namespace lumenwhirl::recordings
