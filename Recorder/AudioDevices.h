#pragma once

#include "Recorder/Platform/AudioSystem.h"

#include <optional>
#include <string>
#include <vector>

/// The microphones that can be recorded. Throws what the sound system throws (PlatformError), so that a missing
/// sound server can be told from one without microphones.
namespace lumenwhirl::AudioDevices {

/// In the system's order.
[[nodiscard]] std::vector<MicDevice> inputs(AudioSystem& audio);
[[nodiscard]] std::optional<std::string> defaultInputID(AudioSystem& audio);
/// What to record when `wanted` was chosen: that, while it is connected, else the default input. Empty where there
/// is none.
[[nodiscard]] std::optional<std::string> inputIDFor(const std::optional<std::string>& wanted, AudioSystem& audio);

}  // namespace lumenwhirl::AudioDevices
