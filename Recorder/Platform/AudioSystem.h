#pragma once

#include "Recorder/Platform/AudioStream.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumenwhirl {

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
