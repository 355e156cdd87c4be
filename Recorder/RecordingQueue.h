#pragma once

#include "Pixels/Picture.h"
#include "Recorder/Platform/AudioSystem.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace lumenwhirl {

/// What a sample sounds like: programs may play anything, also infinity and what is no number, which no encoder
/// takes.
[[nodiscard]] inline float audible(float sample) {
    return std::isnan(sample) ? 0 : std::clamp(sample, -1.0F, 1.0F);
}

/// Frames and audio on their way to an encoder's thread. Live capture cannot wait: what finds no room is dropped.
/// Any thread.
class RecordingQueue {
public:
    struct Frame {
        Picture picture;
        std::int64_t pts = 0;  // ticks of the file
    };
    struct Audio {
        Audio(double start, const AudioBlock& block, int channels);
        double time = 0;             // of the first sample, in seconds of the file
        std::vector<float> samples;  // interleaved, audible
    };
    struct Work {
        std::optional<Frame> frame;
        std::vector<Audio> audio;  // all that was waiting
        bool isOver = false;       // closed, and this is the last of it
    };

    RecordingQueue(std::size_t mostFrames, std::size_t mostSamples)
        : mostFrames_(mostFrames), mostSamples_(mostSamples) {}

    /// Whether the next frame would be taken, as long as nobody else pushes one.
    [[nodiscard]] bool hasRoom() const;
    /// False when there is no room, or the queue is closed.
    bool push(Frame frame);
    bool push(Audio audio);

    /// Waits until a frame arrives, the queue is closed or the deadline has passed. Audio wakes nobody: it is
    /// taken along.
    [[nodiscard]] Work take(std::chrono::steady_clock::time_point deadline);
    /// Nothing more is taken in; what waits can still be taken out.
    void close();

private:
    const std::size_t mostFrames_, mostSamples_;
    mutable std::mutex mutex_;  // guards the fields below
    std::condition_variable changed_;
    std::deque<Frame> frames_;
    std::vector<Audio> audio_;
    std::size_t samples_ = 0;  // in audio_
    bool isClosed_ = false;
};

}  // namespace lumenwhirl
