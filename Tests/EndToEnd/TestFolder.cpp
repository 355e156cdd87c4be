#include "Tests/EndToEnd/TestFolder.h"

#include "Media/VideoWriter.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace lumenwhirl::test {
namespace {

constexpr int width = 320, height = 180, recordedFps = 30, sampleRate = 48000;

/// A brightness that changes from frame to frame, and a hum at a twentieth of full scale.
void writeVideo(const std::filesystem::path& file, int frames) {
    VideoSettings settings;
    settings.width = width;
    settings.height = height;
    settings.frameRate = {recordedFps, 1};
    settings.timeBase = {1, recordedFps};
    settings.speed = "ultrafast";
    VideoWriter writer(file, settings, AudioSettings{.sampleRate = sampleRate, .channels = 1});
    std::vector<float> audio(sampleRate / recordedFps);
    for (int i = 0; i < frames; ++i) {
        VideoFrame frame = VideoFrame::allocate(width, height, PixelFormat::yuv420p8);
        for (int plane = 0; plane < 3; ++plane) {
            const int rows = plane == 0 ? height : height / 2, columns = plane == 0 ? width : width / 2;
            for (int y = 0; y < rows; ++y)
                std::memset(frame.mutablePlane(plane) + y * frame.stride(plane),
                            plane == 0 ? 40 + 5 * i % 160 : 128, static_cast<std::size_t>(columns));
        }
        writer.write(frame, i);
        for (std::size_t k = 0; k < audio.size(); ++k) audio[k] = k / 80 % 2 == 0 ? 0.05F : -0.05F;  // 300 Hz
        const float* const channel = audio.data();
        writer.writeAudio(&channel, audio.size());
    }
    writer.finish();
}

}  // namespace

TestFolder::TestFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "lumenwhirl-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = name;
}

TestFolder::~TestFolder() {
    std::error_code error;  // a folder left behind is no failure of the test
    std::filesystem::remove_all(path_, error);
}

LumenwhirlPackage TestFolder::makeDocuments() const {
    LumenwhirlPackage package = LumenwhirlPackage::create("Documents", path_);
    EventLog events;
    events.recording.display = {.pixelWidth = 1920, .pixelHeight = 1080, .pointWidth = 1920, .pointHeight = 1080};
    package.writeEvents(events);
    package.writeProject(ProjectSettings::makeDefault(10, false, false));
    return package;
}

LumenwhirlPackage TestFolder::makeRecording(int frames) const {
    const double duration = frames / static_cast<double>(recordedFps);
    LumenwhirlPackage package = LumenwhirlPackage::create("Recording", path_);
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
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path_))
        contents[entry.path().string()] =
            entry.is_regular_file() ? std::hash<std::string>()(contentsOf(entry.path())) : 0;
    return contents;
}

std::string contentsOf(const std::filesystem::path& file) {
    std::ifstream input(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
}

void writeFile(const std::filesystem::path& file, const std::string& contents) {
    std::ofstream output(file, std::ios::binary);
    output << contents;
    if (!output.flush()) throw std::runtime_error("cannot write " + file.string());
}

}  // namespace lumenwhirl::test
