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

/// Some sound as it arrives, valid while the handler runs.
struct AudioBlock {
    double time = 0;  // host clock, when the first sample was heard; smoothed, within some milliseconds
    const float* samples = nullptr;  // interleaved, nominal -1...1
    std::size_t frames = 0;          // samples a channel
};

/// The sound of one device.
class AudioStream {
public:
    using BlockHandler = std::function<void(const AudioBlock&)>;
    using EndHandler = std::function<void(const std::string& reason)>;

    virtual ~AudioStream() = default;
    /// Of every block.
    [[nodiscard]] virtual AudioFormat format() const = 0;
    /// Begins; once. Both handlers are called on a thread of the stream's own, one at a time; they must be short,
    /// or sound is lost. `ended`: the device or the server is gone, as a line for people says; no block follows.
    /// Throws PlatformError.
    virtual void start(BlockHandler block, EndHandler ended) = 0;
    /// Ends. No handler runs any more when it returns. Not from a handler. May be called again, and before
    /// start().
    virtual void stop() noexcept = 0;
};

struct MicDevice {
    std::string id;    // the sound server's name of it, which stays the same
    std::string name;  // for people
    bool operator==(const MicDevice&) const = default;
};

/// A sound server. Any thread; every call may take a round trip to the server. Everything throws PlatformError, of
/// kind notReachable where there is no server.
class AudioSystem {
public:
    virtual ~AudioSystem() = default;
    /// What records sound from outside, in the server's order; not what an output plays.
    [[nodiscard]] virtual std::vector<MicDevice> inputs() = 0;
    /// Empty where no input is the default one.
    [[nodiscard]] virtual std::optional<std::string> defaultInputID() = 0;
    /// One channel at 48 kHz, whatever the device has. `id`: one of inputs(). Not started yet.
    [[nodiscard]] virtual std::unique_ptr<AudioStream> microphone(const std::string& id) = 0;
    /// What the default output plays: two channels at 48 kHz. Not started yet.
    [[nodiscard]] virtual std::unique_ptr<AudioStream> systemAudio() = 0;
};

}  // namespace lumenwhirl
