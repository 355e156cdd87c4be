#pragma once

#include "Recorder/Backends/Pulse/PulseConnection.h"
#include "Recorder/Platform/AudioSystem.h"
#include "Recorder/Platform/PlatformError.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace lumenwhirl {

/// When each sample of a stream was heard, in seconds of the host clock: counts samples from measurements that
/// jitter, by 45 ms on some servers. They are averaged over 2 s, so that a device whose clock is off by 200 parts
/// per million is followed with a lag of 0.4 ms.
class SampleClock {
public:
    explicit SampleClock(int sampleRate) : sampleRate_(sampleRate) {}

    /// Sample number `sample`, which may be fractional, was measured to be heard at `time`. False when that is
    /// doubtful: the next measurement should be made at once.
    bool measure(double time, double sample);
    /// There has been a measurement.
    [[nodiscard]] bool isSet() const noexcept { return count_ > 0; }
    [[nodiscard]] double timeOf(std::uint64_t sample) const;

private:
    static constexpr double timeConstant = 2.0;
    // A measurement that is off by more is not jitter: audio was lost, or the thread was held up while measuring.
    // The latter passes, so only the third in a row counts.
    static constexpr double largestError = 0.05;
    static constexpr int provenAfter = 3;

    int sampleRate_;
    double origin_ = 0;  // when sample 0 was heard, or would have been
    double measuredAt_ = 0;
    int count_ = 0;   // measurements that origin_ rests on
    int strays_ = 0;  // in a row
};

/// The audio of one source, or of whichever output is the default one.
///
/// The server must not move a stream: that of an unplugged output would go on with the audio of a microphone.
/// Instead, another stream is opened for the new default output.
class PulseStream final : public AudioStream {
public:
    /// `microphone`: the source's name; without one, what the default output plays. Throws PlatformError
    /// (notReachable).
    PulseStream(std::optional<std::string> microphone, const AudioFormat& format, const std::stop_token& stop);
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

    // All are called with the connection's lock held, and all but the first from its callbacks, too.
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
    PulseConnection connection_;  // its lock guards the fields below
    Phase phase_ = Phase::idle;
    std::optional<PlatformError> failure_;
    BlockHandler block_;
    EndHandler ended_;
    std::string source_;    // that stream_ records
    bool isReady_ = false;  // stream_ is
    SampleClock clock_;
    std::uint64_t position_ = 0;  // of the next sample to read, in stream_
    double measurementDue_ = 0;   // host clock
    std::unique_ptr<pa_stream, StreamDeleter> stream_;
};

}  // namespace lumenwhirl
