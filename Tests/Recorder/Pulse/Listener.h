#pragma once

#include "Recorder/Platform/AudioSystem.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace lumenwhirl {

/// Keeps all that a stream delivers.
class Listener {
public:
    struct Block {
        double time = 0;
        std::vector<float> samples;  // of the first channel
    };

    explicit Listener(AudioStream& stream) : stream_(stream) {
        const auto channels = static_cast<std::size_t>(stream.format().channels);
        stream_.start(
            [this, channels](const AudioBlock& block) {
                const std::lock_guard lock(mutex_);
                Block& copy = blocks_.emplace_back(Block{.time = block.time, .samples = {}});
                for (std::size_t i = 0; i < block.frames; ++i) copy.samples.push_back(block.samples[i * channels]);
                changed_.notify_all();
            },
            [this](const std::string& reason) {
                const std::lock_guard lock(mutex_);
                reason_ = reason;
                changed_.notify_all();
            });
    }
    ~Listener() { stream_.stop(); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// Waits for sound of so many seconds that is loud from its beginning on, after the time given. Empty when
    /// there is none within 30 s.
    [[nodiscard]] std::vector<Block> audio(double seconds, double after = 0) {
        std::vector<Block> loud;
        waitUntil([&] {
            loud = loudAfter(after);
            std::size_t samples = 0;
            for (const Block& block : loud) samples += block.samples.size();
            return static_cast<double>(samples) >= seconds * stream_.format().sampleRate;
        });
        return loud;
    }
    /// Why the stream has ended; waits for it for at most 30 s.
    [[nodiscard]] std::optional<std::string> reason() {
        waitUntil([&] { return reason_.has_value(); });
        const std::lock_guard lock(mutex_);
        return reason_;
    }
    [[nodiscard]] bool hasEnded() {
        const std::lock_guard lock(mutex_);
        return reason_.has_value();
    }
    /// Waits for one block more.
    [[nodiscard]] bool goesOn() {
        std::size_t before = 0;
        {
            const std::lock_guard lock(mutex_);
            before = blocks_.size();
        }
        return waitUntil([&] { return blocks_.size() > before; });
    }

private:
    bool waitUntil(const std::function<bool()>& isDone) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), isDone);
    }
    /// The sound from the first loud sample on, its first block cut there.
    std::vector<Block> loudAfter(double after) const {
        std::vector<Block> loud;
        for (const Block& block : blocks_) {
            if (!loud.empty()) loud.push_back(block);
            if (!loud.empty() || block.time < after) continue;
            const auto first = std::ranges::find_if(block.samples, [](float s) { return std::abs(s) > 0.05F; });
            if (first == block.samples.end()) continue;
            const double offset = static_cast<double>(first - block.samples.begin()) / stream_.format().sampleRate;
            loud.push_back({.time = block.time + offset, .samples = {first, block.samples.end()}});
        }
        return loud;
    }

    AudioStream& stream_;
    std::mutex mutex_;  // guards the fields below
    std::vector<Block> blocks_;
    std::optional<std::string> reason_;
    std::condition_variable changed_;
};

/// In Hz, from the upward crossings of zero.
inline double frequencyOf(const std::vector<Listener::Block>& blocks, int sampleRate) {
    double first = 0, last = 0, position = 0;
    int crossings = 0;
    float former = 0;
    for (const Listener::Block& block : blocks)
        for (const float sample : block.samples) {
            if (former < 0 && sample >= 0) {
                last = position - sample / (sample - former);
                if (crossings++ == 0) first = last;
            }
            former = sample;
            ++position;
        }
    return crossings > 1 ? (crossings - 1) * sampleRate / (last - first) : 0;
}

}  // namespace lumenwhirl
