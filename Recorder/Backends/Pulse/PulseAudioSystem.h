#pragma once

#include "Recorder/Platform/AudioSystem.h"

#include <memory>

namespace lumenwhirl {

/// The user's PulseAudio or PipeWire server, the one that PULSE_SERVER names if it is set. Connects anew at every
/// call, so a server that was restarted is found again; none is ever started. Streams have a connection and a
/// thread of their own and may outlive the system.
///
/// A microphone is recorded until it is unplugged; the system's sound follows the default output.
[[nodiscard]] std::unique_ptr<AudioSystem> makePulseAudioSystem();

}  // namespace lumenwhirl
