#include "Recorder/CaptureTarget.h"

namespace lumenwhirl {

std::unique_ptr<CaptureStream> CaptureTarget::makeStream(ScreenSystem& screen) const {
    if (const auto* display = std::get_if<CaptureDisplay>(&choice_))
        return screen.captureDisplay(display->id, display->displayInfo);
    const auto& window = std::get<CaptureWindow>(choice_);
    return screen.captureWindow(window.id, window.displayInfo);
}

}  // namespace lumenwhirl
