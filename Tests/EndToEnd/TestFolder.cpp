#include "Tests/EndToEnd/TestFolder.h"

#include "Tests/Support/Movies.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace lumenwhirl::test {
namespace {

constexpr int width = 320, height = 180, recordedFps = 30, sampleRate = 48000;

/// A brightness that changes from frame to frame, and a square wave at a twentieth of full scale.
void writeVideo(const std::filesystem::path& file, int frames) {
    movies::Movie movie;
    movie.video.width = width;
    movie.video.height = height;
    movie.video.frameRate = {recordedFps, 1};
    movie.video.timeBase = {1, recordedFps};
    movie.video.software.preset = "ultrafast";
    movie.ticks = movies::steady(frames, 1);
    movie.frame = [](unsigned number) {
        Picture frame(width, height, PixelFormat::yuv420p8);
        barCode::fill(frame, static_cast<std::uint8_t>(40 + 5 * number % 160));
        return frame;
    };
    std::vector<float> wave(static_cast<std::size_t>(frames) * sampleRate / recordedFps);
    for (std::size_t i = 0; i < wave.size(); ++i) wave[i] = i / 80 % 2 == 0 ? 0.05F : -0.05F;  // 300 Hz
    movie.audio = AudioBuffer{{wave}};
    movies::write(file, movie);
}

}  // namespace

LumenwhirlPackage TestFolder::makeDocuments() const {
    LumenwhirlPackage package = LumenwhirlPackage::create("Documents", path());
    EventLog events;
    events.recording.display = {.pixelWidth = 1920, .pixelHeight = 1080, .pointWidth = 1920, .pointHeight = 1080};
    package.writeEvents(events);
    package.writeProject(ProjectSettings::makeDefault(10, false, false));
    return package;
}

LumenwhirlPackage TestFolder::makeRecording(int frames) const {
    const double duration = frames / static_cast<double>(recordedFps);
    LumenwhirlPackage package = LumenwhirlPackage::create("Recording", path());
    writeVideo(package.recordingURL(), frames);
    EventLog events;
    events.recording.fps = recordedFps;
    events.recording.display = {
        .pixelWidth = width, .pixelHeight = height, .pointWidth = width, .pointHeight = height};
    for (int i = 0; i <= frames; ++i)
        events.cursor.push_back({i / static_cast<double>(recordedFps), 40.0 + i, 60});
    const CursorSample& middle = events.cursor[events.cursor.size() / 2];
    events.clicks = {{middle.t, middle.x, middle.y, MouseButton::left, ClickPhase::down}};
    package.writeEvents(events);
    package.writeProject(ProjectSettings::makeDefault(duration, false, true));
    return package;
}

std::map<std::string, std::size_t> TestFolder::contents() const {
    std::map<std::string, std::size_t> contents;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path()))
        contents[entry.path().string()] =
            entry.is_regular_file() ? std::hash<std::string>()(contentsOf(entry.path())) : 0;
    return contents;
}

std::string TestFolder::expectFailure(const Program::Arguments& arguments, int status, const std::string& message,
                                      const Program::Surroundings& surroundings) const {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto before = contents();
    const Outcome outcome = Program::run(arguments, surroundings);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.output, "");
    EXPECT_TRUE(outcome.errors.starts_with("lumenwhirl: " + message))
        << outcome.errors << "instead of " << message;
    EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << outcome.errors;
    EXPECT_EQ(contents(), before);
    return outcome.errors;
}

}  // namespace lumenwhirl::test
