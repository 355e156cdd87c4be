#pragma once

#include "Exporter/Preset.h"
#include "Media/EncodingSettings.h"
#include "Pixels/Image.h"
#include "Scene/FrameStates.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <stop_token>
#include <string>

/// Turns a recording into a finished file. Stateless; blocks the caller's thread and uses threads of its own.
namespace lumenwhirl::Exporter {

struct Progress {
    std::int64_t framesDone = 0, totalFrames = 0;
    [[nodiscard]] double fraction() const noexcept {
        return totalFrames > 0 ? static_cast<double>(framesDone) / static_cast<double>(totalFrames) : 0;
    }
};

class ExportError : public std::runtime_error {
public:
    enum class Kind { writerFailed, noVideoTrack, cannotCreateReader, cannotCreateWriter, cancelled };
    ExportError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};

struct Options {
    Preset preset = Preset::web;
    EncoderChoice encoder = EncoderChoice::software;
    FrameStates::Zoom zoom = FrameStates::Zoom::asProject;
    /// Called after every frame, on one thread; for a GIF also before its colours are chosen, with no frame done.
    std::function<void(Progress)> progress;
    /// Called with a line for the user about what was done without.
    std::function<void(const std::string&)> notice = {};
};

/// Writes `destination`. A file there is replaced only by a complete export: until then the work is in a temporary
/// file beside it, which is removed on failure. A stop ends at the next frame with ExportError (cancelled). Throws
/// ExportError, FrameStates::Error; the message names the file.
void exportRecording(const std::filesystem::path& recording, const EventLog& events,
                     const ProjectSettings& settings, const std::filesystem::path& destination,
                     const Options& options, std::stop_token stop = {});

/// The finished frame at an output time in seconds (clamped), as the export draws it. Throws as exportRecording.
[[nodiscard]] Image finishedFrame(const std::filesystem::path& recording, const EventLog& events,
                                  const ProjectSettings& settings, double outputTime, FrameStates::Zoom zoom);

}  // namespace lumenwhirl::Exporter
