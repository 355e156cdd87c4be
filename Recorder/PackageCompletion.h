#pragma once

#include "Engine/Documents/EventLog.h"
#include "Recorder/Package/LumenwhirlPackage.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace lumenwhirl {

/// Lays a separately recorded sound under a recorded picture, in place.
namespace Muxer {

class MuxError : public std::runtime_error {
public:
    enum class Kind { exportFailed, noVideoTrack, cannotCreateExportSession };
    MuxError(Kind kind, const std::string& problem) : std::runtime_error(problem), kind_(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};

/// Afterwards `video` holds its own picture and the first sound track of `audio`, cut where the picture ends, by
/// stream copy; sound it had is gone. Without a sound track in `audio` nothing is changed. The file is replaced in
/// one step: a failure leaves it untouched. `videoEnd`: when the last picture ends, in seconds,
/// where the caller knows better than the file. Throws MuxError.
void muxAudio(const std::filesystem::path& audio, const std::filesystem::path& video,
              std::optional<double> videoEnd = std::nullopt);

}  // namespace Muxer

/// The last step of a recording: what was written while it ran becomes a whole package. A recording that was cut
/// short is completed by the same step when it is next opened.
///
/// While a recording runs, its folder holds pictures, and sound, in pieces that play without an index
/// (recording.mp4, mic.m4a), and the journal of the events, which is removed last: where there is a journal, there
/// is work left.
namespace PackageCompletion {

/// A microphone's file below this many bytes holds no sound.
inline constexpr std::uintmax_t leastMicrophoneBytes = 1024;

struct Recorded {
    EventLog log;
    double duration = 0;               // seconds from the first to the last picture
    bool recordedSystemAudio = false;  // into recording.mp4
    bool recordedMicrophone = false;   // into mic.m4a
};

/// Lays the microphone under the picture, gives recording.mp4 its index, writes events.json and the project a new
/// recording begins with, and removes the journal. A microphone that cannot be joined is left out, and a video
/// that cannot be copied for want of space stays in its pieces, which play as well. Returns why the microphone was
/// left out, in a line for people. Throws LumenwhirlPackage::Error when a document cannot be written; then the
/// journal stays.
std::optional<std::string> complete(const LumenwhirlPackage& package, const Recorded& recorded);

/// What was found of a recording that was cut short.
struct Recovery {
    double duration = 0;                           // seconds
    std::optional<std::string> microphoneFailure;  // as of complete()
};

/// Completes the package of a recording that was cut short; empty for a whole one, of which nothing is touched.
/// Where another process, or thread, is at it, waits for it. Throws LumenwhirlPackage::Error while the recording
/// is still running, and when nothing can be saved.
[[nodiscard]] std::optional<Recovery> recover(const LumenwhirlPackage& package);

}  // namespace PackageCompletion

}  // namespace lumenwhirl
