#pragma once

#include "Tests/Support/Files.h"

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace lumenwhirl {

class PulseConnection;

/// A PulseAudio server of a test's own, without devices. While it lives, this process and its children find it
/// as the user's: PULSE_SERVER is set. One at a time.
///
/// Its outputs `speakers` (the default) and `micfeed` play into nothing; what is played into `micfeed` is what its
/// only input, the microphone `mic`, hears. Every one of them can be unplugged.
class AudioServer {
public:
    AudioServer();
    ~AudioServer();
    AudioServer(const AudioServer&) = delete;
    AudioServer& operator=(const AudioServer&) = delete;

    /// Plugs in an output of two channels.
    void addOutput(const std::string& name);
    /// Plugs in a microphone that hears what is played into the output named `NAMEfeed`.
    void addMicrophone(const std::string& name, const std::string& description, int rate, int channels);
    void unplug(const std::string& device);
    void setDefaultOutput(const std::string& name);
    /// Kills the server, as a crash of it would. Not to be spoken to any more.
    void kill();

private:
    void load(const std::string& device, const std::string& module, const std::string& arguments);

    TemporaryFolder folder_;
    pid_t process_ = -1;
    std::unique_ptr<PulseConnection> connection_;
    std::map<std::string, std::uint32_t> modules_;  // by the device they make
};

}  // namespace lumenwhirl
