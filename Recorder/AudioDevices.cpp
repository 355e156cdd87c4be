#include "Recorder/AudioDevices.h"

#include <algorithm>

namespace lumenwhirl::AudioDevices {

std::vector<MicDevice> inputs(SoundSystem& sound) {
    return sound.inputs();
}

std::optional<std::string> defaultInputID(SoundSystem& sound) {
    return sound.defaultInputID();
}

std::optional<std::string> inputIDFor(const std::optional<std::string>& wanted, SoundSystem& sound) {
    const bool isConnected = wanted && std::ranges::count(inputs(sound), *wanted, &MicDevice::id) > 0;
    return isConnected ? wanted : defaultInputID(sound);
}

}  // namespace lumenwhirl::AudioDevices
