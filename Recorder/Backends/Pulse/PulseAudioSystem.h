#pragma once

#include "Recorder/Platform/AudioSystem.h"

#include <memory>
#include <stop_token>

namespace lumenwhirl {

/// The user's PulseAudio or PipeWire server; the one in PULSE_SERVER if that is set. Connects again at each call,
/// so that a restarted server is found; never starts one. Gives up on a server that hangs after 2 s, and at once
/// when `stop` is requested. Streams have a connection and a thread of their own and may outlive the system.
///
/// A microphone is recorded until it is unplugged; the system audio follows the default output.
[[nodiscard]] std::unique_ptr<AudioSystem> makePulseAudioSystem(const std::stop_token& stop = {});

}  // namespace lumenwhirl
