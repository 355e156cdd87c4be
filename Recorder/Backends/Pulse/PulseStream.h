#pragma once

#include "Recorder/Backends/Pulse/PulseConnection.h"
#include "Recorder/Backends/Pulse/SampleClock.h"
#include "Recorder/Platform/AudioSystem.h"
#include "Recorder/Platform/PlatformError.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace lumenwhirl {

/// The sound of one source, or of whichever output is the default one.
///
/// Neither is ever moved by the server: the sound of an unplugged output would go on as that of a microphone. The
/// default output is followed by opening another stream instead.
class PulseStream final : public AudioStream {
public:
    /// `microphone`: the source's name; without one, what the default output plays. Throws PlatformError
    /// (notReachable).
    PulseStream(std::optional<std::string> microphone, const AudioFormat& format);
    ~PulseStream() override;
    PulseStream(const PulseStream&) = delete;
    PulseStream& operator=(const PulseStream&) = delete;

    [[nodiscard]] AudioFormat format() const override { return format_; }
    void start(BlockHandler block, EndHandler ended) override;
    void stop() noexcept override;

private:
    enum class Phase { idle, opening, running, failed, ended, stopped };
    struct StreamDeleter {
        void operator()(pa_stream* stream) const noexcept;
    };

    // All with the connection's lock held; but for the first, in its callbacks too.
    void subscribe();
    void findOutput();
    void follow(const pa_sink_info* output);
    void open(const std::string& source);
    void changed();
    void read();
    void measure();
    void requestMeasurement();
    void fail(PlatformError::Kind kind, const std::string& problem);
    [[nodiscard]] std::string name() const;

    const std::optional<std::string> microphone_;
    const AudioFormat format_;
    PulseConnection connection_;  // its lock guards all below
    Phase phase_ = Phase::idle;
    std::optional<PlatformError> failure_;
    BlockHandler block_;
    EndHandler ended_;
    std::string source_;    // what stream_ is of
    bool isReady_ = false;  // stream_ is
    SampleClock clock_;
    std::uint64_t position_ = 0;  // of the next sample to read, in stream_
    double measurementDue_ = 0;   // host clock
    std::unique_ptr<pa_stream, StreamDeleter> stream_;
};

}  // namespace lumenwhirl
