#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumenwhirl {

struct AudioFormat {
    int sampleRate = 48000;
    int channels = 2;
    bool operator==(const AudioFormat&) const = default;
};

/// A piece of audio as it arrives, valid while the handler runs.
struct AudioBlock {
    double time = 0;  // host clock, when the first sample was heard; smoothed, exact to some milliseconds
    const float* samples = nullptr;  // interleaved, nominal -1...1
    std::size_t frames = 0;          // samples per channel
};

/// The audio of one device.
class AudioStream {
public:
    using BlockHandler = std::function<void(const AudioBlock&)>;
    using EndHandler = std::function<void(const std::string& reason)>;

    virtual ~AudioStream() = default;
    /// The format of every block.
    [[nodiscard]] virtual AudioFormat format() const = 0;
    /// Once. Both handlers are called on the stream's own thread, one at a time; they must return soon, or audio
    /// is lost. `ended`: the device or the server is gone, with a line of text that says so; no block follows.
    /// Throws PlatformError.
    virtual void start(BlockHandler block, EndHandler ended) = 0;
    /// No handler runs after it returns. Not from a handler. May be called again, and before start().
    virtual void stop() noexcept = 0;
};

struct MicDevice {
    std::string id;    // the audio server's name for it, which never changes
    std::string name;  // to show
    bool operator==(const MicDevice&) const = default;
};

/// An audio server. Any thread; every call may take a round trip to the server. Everything throws PlatformError,
/// of kind notReachable if there is no server.
class AudioSystem {
public:
    virtual ~AudioSystem() = default;
    /// The devices that record from outside, in the server's order; not what an output plays.
    [[nodiscard]] virtual std::vector<MicDevice> inputs() = 0;
    /// Empty if there is no default input.
    [[nodiscard]] virtual std::optional<std::string> defaultInputID() = 0;
    /// One channel at 48 kHz, whatever the device has; not started. `id`: one of inputs().
    [[nodiscard]] virtual std::unique_ptr<AudioStream> microphone(const std::string& id) = 0;
    /// What the default output plays, two channels at 48 kHz; not started.
    [[nodiscard]] virtual std::unique_ptr<AudioStream> systemAudio() = 0;
};

}  // namespace lumenwhirl
