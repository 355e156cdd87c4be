#pragma once

#include "Recorder/Platform/AudioSystem.h"
#include "Recorder/Platform/ScreenSystem.h"

#include <memory>
#include <stop_token>

/// The systems this program runs on, chosen at run time.
namespace lumenwhirl::Desktop {

/// The desktop of this session: an X11 display. Throws PlatformError (notReachable).
[[nodiscard]] std::unique_ptr<ScreenSystem> connectToScreen();
/// The audio server of this session. Connects when it is first used; gives up when `stop` is requested.
[[nodiscard]] std::unique_ptr<AudioSystem> makeAudioSystem(const std::stop_token& stop = {});

}  // namespace lumenwhirl::Desktop
