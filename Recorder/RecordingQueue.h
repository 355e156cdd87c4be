#pragma once

#include "Media/VideoFrame.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace lumenwhirl {

/// Pictures and sound on their way to the encoder's thread. What arrives live cannot wait: what finds no room is
/// not taken. Any thread.
class RecordingQueue {
public:
    struct Picture {
        VideoFrame frame;
        std::int64_t pts = 0;  // ticks of the file
    };
    struct Audio {
        double time = 0;             // seconds of the file, of the first sample
        std::vector<float> samples;  // interleaved
    };
    struct Work {
        std::optional<Picture> picture;
        std::vector<Audio> audio;  // all there was
        bool isOver = false;       // closed, and this is the last of it
    };

    RecordingQueue(std::size_t mostPictures, std::size_t mostSamples)
        : mostPictures_(mostPictures), mostSamples_(mostSamples) {}

    /// Whether the next picture would be taken, as long as nobody else gives one.
    [[nodiscard]] bool hasRoom() const;
    /// False when there is no room, or the queue is closed.
    bool push(Picture picture);
    bool push(Audio audio);

    /// Waits for a picture, or for the end, until the deadline; sound is fetched without waiting for it.
    [[nodiscard]] Work take(std::chrono::steady_clock::time_point deadline);
    /// Nothing more is taken. What waits can still be fetched.
    void close();

private:
    const std::size_t mostPictures_, mostSamples_;
    mutable std::mutex mutex_;  // guards the fields below
    std::condition_variable changed_;
    std::deque<Picture> pictures_;
    std::vector<Audio> audio_;
    std::size_t samples_ = 0;  // in audio_
    bool isClosed_ = false;
};

}  // namespace lumenwhirl
