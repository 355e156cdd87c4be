#pragma once

#include "Pixels/Picture.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace lumenwhirl {

/// Frames and audio on their way to an encoder's thread. Live capture cannot wait: what finds no room is dropped.
/// Any thread.
class RecordingQueue {
public:
    struct Frame {
        Picture picture;
        std::int64_t pts = 0;  // ticks of the file
    };
    struct Audio {
        double time = 0;             // of the first sample, in seconds of the file
        std::vector<float> samples;  // interleaved
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
