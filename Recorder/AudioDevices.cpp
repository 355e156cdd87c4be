#include "Recorder/AudioDevices.h"

#include <algorithm>

namespace lumenwhirl::AudioDevices {

std::vector<MicDevice> inputs(AudioSystem& audio) {
    return audio.inputs();
}

std::optional<std::string> defaultInputID(AudioSystem& audio) {
    return audio.defaultInputID();
}

std::optional<std::string> inputIDFor(const std::optional<std::string>& wanted, AudioSystem& audio) {
    const bool isConnected = wanted && std::ranges::count(inputs(audio), *wanted, &MicDevice::id) > 0;
    return isConnected ? wanted : defaultInputID(audio);
}

}  // namespace lumenwhirl::AudioDevices
