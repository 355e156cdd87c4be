#pragma once

#include "Engine/Documents/EventLog.h"
#include "Recorder/Package/LumenwhirlPackage.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace lumenwhirl {

/// Joins separately recorded audio with a recorded video, in place.
namespace Muxer {

class MuxError : public std::runtime_error {
public:
    enum class Kind {
        exportFailed,
        noVideoTrack,
        cannotCreateExportSession,  // never happens here: copying streams needs no session
    };
    MuxError(Kind kind, const std::string& problem) : std::runtime_error(problem), kind_(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};

/// Afterwards `video` holds its own video track and the first audio track of `audio`, cut where the video ends,
/// both copied without encoding; its former audio is gone. If `audio` has no audio track, nothing changes. The
/// file is replaced in one step: a failure leaves it untouched. `videoEnd`: when the last frame ends, in seconds,
/// if the caller knows better than the file. Throws MuxError.
void muxAudio(const std::filesystem::path& audio, const std::filesystem::path& video,
              std::optional<double> videoEnd = std::nullopt);

}  // namespace Muxer

/// The last step of a recording: turns what was written while it ran into a whole package. A recording that was
/// cut short is completed by the same step when it is next opened.
///
/// While a recording runs, its folder holds video and audio as fragmented files, which play without an index
/// (recording.mp4, mic.m4a), and the journal of the events. The journal is removed last: where there is one, the
/// package is incomplete.
namespace PackageCompletion {

/// A microphone's file of fewer bytes holds no audio.
inline constexpr std::uintmax_t leastMicrophoneBytes = 1024;

struct Recorded {
    EventLog log;
    double duration = 0;               // seconds from the first to the last frame
    bool recordedSystemAudio = false;  // into recording.mp4
    bool recordedMicrophone = false;   // into mic.m4a
};

/// Joins the microphone's audio with the video, gives recording.mp4 its index, writes events.json and the project
/// that a new recording begins with, and removes the journal. A microphone that cannot be joined is left out, and
/// a video that cannot be copied for lack of space stays fragmented, which plays as well. Returns why the
/// microphone was left out, as a line of text. Throws LumenwhirlPackage::Error when a document cannot be written;
/// then the journal stays.
std::optional<std::string> complete(const LumenwhirlPackage& package, const Recorded& recorded);

/// What was saved of a recording that was cut short.
struct Recovery {
    double duration = 0;                           // seconds
    std::optional<std::string> microphoneFailure;  // as complete() returns
};

/// Completes the package of a recording that was cut short. Empty for a whole package, which is not touched. Waits
/// two seconds for another process or thread that is completing it. Throws LumenwhirlPackage::Error if that takes
/// longer, while the recording still runs, and when nothing can be saved.
[[nodiscard]] std::optional<Recovery> recover(const LumenwhirlPackage& package);

}  // namespace PackageCompletion

}  // namespace lumenwhirl
