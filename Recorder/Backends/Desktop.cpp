#include "Recorder/Backends/Desktop.h"

#include "Recorder/Backends/Pulse/PulseAudioSystem.h"
#include "Recorder/Backends/X11/X11ScreenSystem.h"

namespace lumenwhirl::Desktop {

std::unique_ptr<ScreenSystem> connectToScreen() {
    return connectToX11();
}

std::unique_ptr<AudioSystem> makeAudioSystem(const std::stop_token& stop) {
    return makePulseAudioSystem(stop);
}

}  // namespace lumenwhirl::Desktop
