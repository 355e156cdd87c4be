#pragma once

#include "Recorder/Platform/SoundSystem.h"

#include <optional>
#include <string>
#include <vector>

/// The microphones that can be recorded. Throws what the sound system throws (PlatformError), so that a missing
/// sound server can be told from one without microphones.
namespace lumenwhirl::AudioDevices {

/// In the system's order.
[[nodiscard]] std::vector<MicDevice> inputs(SoundSystem& sound);
[[nodiscard]] std::optional<std::string> defaultInputID(SoundSystem& sound);
/// What to record when `wanted` was chosen: that, while it is connected, else the default input. Empty where there
/// is none.
[[nodiscard]] std::optional<std::string> inputIDFor(const std::optional<std::string>& wanted, SoundSystem& sound);

}  // namespace lumenwhirl::AudioDevices
