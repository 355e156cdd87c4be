#pragma once

#include "Recorder/Backends/Pulse/PulseConnection.h"

#include <memory>
#include <optional>
#include <string>

namespace lumenwhirl {

struct Tone {
    double frequency = 440;  // Hz
    double seconds = 2;      // at most 40
    double amplitude = 0.5;
};

/// Plays a tone into an output of the audio server, at 48 kHz, from its construction until it has ended or this is
/// destroyed. The server has all of it before it begins, so it has no holes however busy the machine is.
class TonePlayer {
public:
    TonePlayer(const std::string& output, const Tone& tone);
    ~TonePlayer();
    TonePlayer(const TonePlayer&) = delete;
    TonePlayer& operator=(const TonePlayer&) = delete;

    /// When its first sample was heard: host clock, by the server's own account. Waits until it is known.
    [[nodiscard]] double onset();
    void waitUntilPlayed();

private:
    struct StreamDeleter {
        void operator()(pa_stream* stream) const noexcept;
    };
    void update();

    const std::string output_;
    PulseConnection connection_;
    std::optional<double> onset_;
    bool isPlayed_ = false;
    std::unique_ptr<pa_stream, StreamDeleter> stream_;
};

}  // namespace lumenwhirl
