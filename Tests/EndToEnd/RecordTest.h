#pragma once

#include "Media/VideoReader.h"
#include "Recorder/Platform/HostClock.h"
#include "Tests/EndToEnd/TestFolder.h"
#include "Tests/Recorder/X11/TestClient.h"
#include "Tests/Recorder/X11/VirtualDisplay.h"

#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <vector>

namespace lumenwhirl::test {

/// Records a virtual display of its own, as H.264, which is easier on the machine.
class RecordTest : public testing::Test {
protected:
    [[nodiscard]] virtual Program::Surroundings surroundings() const {
        return {.environment = {{"DISPLAY", display.name()},
                                {"HOME", folder.path().string()},
                                {"PULSE_SERVER", "unix:" + (folder.path() / "no-server").string()}}};
    }
    [[nodiscard]] Outcome run(const Program::Arguments& arguments) const {
        return Program::run(arguments, surroundings());
    }
    [[nodiscard]] Program::Arguments recordArguments(const Program::Arguments& more) const {
        Program::Arguments arguments{"record", "--folder",  folder.path().string(),
                                     "--name", "Take",      "--codec",
                                     "h264",   "--encoder", "software"};
        if (!hasAudio) arguments.emplace_back("--no-system-audio");
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    /// Starts to record, and returns once it does.
    Program& record(const Program::Arguments& more = {}) {
        program.emplace(recordArguments(more), surroundings());
        program->waitForOutput();
        return *program;
    }
    /// Ends a recording.
    Outcome stop(int signal = SIGINT) {
        program->send(signal);
        const Outcome outcome = program->wait();
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_EQ(outcome.output, package.url().string() + "\n");
        return outcome;
    }
    [[nodiscard]] Json targets() const {
        const Outcome outcome = run({"targets"});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        return Json(outcome.output);
    }

    bool hasAudio = false;  // whether the computer's audio is recorded by default
    TestFolder folder;
    VirtualDisplay display{{.width = 640, .height = 360}};
    TestClient user{display.name()};
    const LumenwhirlPackage package{folder.path() / "Take.lumenwhirl"};
    SystemClock clock;
    std::optional<Program> program;
};

inline int lumaAt(const Picture& frame, int x, int y) {
    return frame.plane(0)[y * frame.stride(0) + x];
}

inline std::vector<VideoFrame> framesOf(const std::filesystem::path& video) {
    std::vector<VideoFrame> frames;
    VideoReader reader(video);
    while (const auto frame = reader.next()) frames.push_back(*frame);
    return frames;
}

/// The times of the first frame that meets a condition, and of the one before it.
struct Appearance {
    double time = 0, before = 0;  // seconds
};
template <class Condition>
std::optional<Appearance> firstFrame(const std::vector<VideoFrame>& frames, Condition condition) {
    double before = 0;
    for (const VideoFrame& frame : frames) {
        if (condition(frame)) return Appearance{frame.time(), before};
        before = frame.time();
    }
    return std::nullopt;
}

}  // namespace lumenwhirl::test
