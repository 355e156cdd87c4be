#pragma once

#include "Recorder/Platform/AudioStream.h"
#include "Recorder/Platform/CaptureStream.h"

#include <cstdint>
#include <optional>
#include <string>

namespace lumenwhirl {

/// The file a recording is written to while it runs. Times are seconds of the host clock; the file's own time 0 is
/// given to begin(). The calls come from several threads, but one at a time.
class RecordingFile {
public:
    /// A snapshot for people who wait; may be asked for at any time from any thread.
    struct Progress {
        std::int64_t framesWritten = 0;  // given to the encoder
        std::int64_t framesDropped = 0;  // because the encoder was busy
        std::uintmax_t bytes = 0;        // of the file so far
    };

    virtual ~RecordingFile() = default;
    /// Fixes the tracks, a picture and perhaps sound, and time 0. Takes no more than a few milliseconds. False
    /// when it could not; it may be tried again.
    [[nodiscard]] virtual bool begin(double startTime, const std::optional<AudioFormat>& audio) = 0;
    /// A complete frame, in the order of time. Copied before the call returns. False when it was dropped because
    /// the encoder is behind, or because the file can take no more (failure()).
    virtual bool appendVideo(const CapturedFrame& frame) = 0;
    /// Sound of the format given to begin(), in the order of time. It is laid to its time: what lies before time 0
    /// is cut, holes become silence, a device's clock that drifts is followed. Copied before the call returns.
    /// False when it was dropped.
    virtual bool appendAudio(const AudioBlock& block) = 0;
    /// Writes what has been taken, at most `seconds` long, and closes the file, which plays in any case. Throws
    /// nothing: what went wrong is in failure().
    virtual void finish(double seconds) = 0;

    [[nodiscard]] virtual Progress progress() const = 0;
    /// Why the file can take no more, such as a full disk, in one line. Any thread.
    [[nodiscard]] virtual std::optional<std::string> failure() const = 0;
};

}  // namespace lumenwhirl
