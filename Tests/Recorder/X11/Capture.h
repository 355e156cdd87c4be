#pragma once

#include "Recorder/Platform/CaptureStream.h"
#include "Recorder/Platform/ScreenSystem.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace lumenwhirl::test {

/// A frame that is kept.
struct Picture {
    FrameStatus status = FrameStatus::complete;
    double time = 0;
    int width = 0, height = 0;
    Point origin;
    std::vector<std::uint32_t> pixels{};  // 0xRRGGBB

    /// 0xRRGGBB.
    [[nodiscard]] std::uint32_t at(int x, int y) const {
        return pixels.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                         static_cast<std::size_t>(x));
    }
    [[nodiscard]] bool isAll(std::uint32_t color) const {
        for (const std::uint32_t pixel : pixels)
            if (pixel != color) return false;
        return !pixels.empty();
    }
    [[nodiscard]] bool hasSize(int w, int h) const { return width == w && height == h; }
};

/// A running capture stream, of which a test waits for what it expects.
class Capture {
public:
    explicit Capture(std::unique_ptr<CaptureStream> stream) : stream_(std::move(stream)) {
        stream_->start([this](const CapturedFrame& frame) { take(frame); },
                       [this](const std::string& reason) { end(reason); });
    }

    /// The first of the frames from now on for which that holds; throws after 20 s.
    Picture waitFor(const std::string& what, const std::function<bool(const Picture&)>& condition) {
        std::unique_lock lock(mutex_);
        std::size_t seen = count_;
        for (const Deadline deadline = inTwentySeconds();;) {
            wait(lock, deadline, what, [&] { return count_ > seen || hasEnded_; });
            if (hasEnded_) throw std::runtime_error("the stream ended (" + reason_ + ") before " + what);
            seen = count_;
            if (condition(last_)) return last_;
            if (std::chrono::system_clock::now() > deadline)
                throw std::runtime_error("waited in vain until " + what);
        }
    }
    Picture waitForComplete(const std::string& what, const std::function<bool(const Picture&)>& condition) {
        return waitFor(what, [&](const Picture& picture) {
            return picture.status == FrameStatus::complete && condition(picture);
        });
    }
    Picture waitForIdle() {
        return waitFor("it is idle", [](const Picture& picture) { return picture.status == FrameStatus::idle; });
    }
    /// Why the stream ended by itself; throws if it has not after 20 s.
    std::string waitForEnd() {
        std::unique_lock lock(mutex_);
        wait(lock, inTwentySeconds(), "it ends", [&] { return hasEnded_; });
        return reason_;
    }
    /// Blocks until so many more frames have come, and returns their statuses.
    std::vector<FrameStatus> nextStatuses(std::size_t count) {
        std::unique_lock lock(mutex_);
        const std::size_t first = statuses_.size();
        wait(lock, inTwentySeconds(), "frames come", [&] { return statuses_.size() >= first + count; });
        const auto begin = statuses_.begin() + static_cast<std::ptrdiff_t>(first);
        return {begin, begin + static_cast<std::ptrdiff_t>(count)};
    }
    /// Ends it; the last frame.
    Picture stop() {
        stream_->stop();
        const std::lock_guard lock(mutex_);
        return last_;
    }
    /// Of all frames.
    [[nodiscard]] std::vector<double> times() {
        const std::lock_guard lock(mutex_);
        return times_;
    }

private:
    using Deadline = std::chrono::system_clock::time_point;
    [[nodiscard]] static Deadline inTwentySeconds() {
        return std::chrono::system_clock::now() + std::chrono::seconds(20);
    }
    template <class Condition>
    void wait(std::unique_lock<std::mutex>& lock, Deadline deadline, const std::string& what,
              const Condition& condition) {
        if (!changed_.wait_until(lock, deadline, condition))
            throw std::runtime_error("waited in vain until " + what);
    }
    void take(const CapturedFrame& frame) {
        Picture picture{frame.status, frame.time, frame.width, frame.height, frame.origin};
        for (int y = 0; y < frame.height; ++y)
            for (int x = 0; x < frame.width; ++x) {
                const std::uint8_t* const pixel = frame.pixels + y * frame.stride + std::ptrdiff_t{4} * x;
                picture.pixels.push_back(static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]));
            }
        const std::lock_guard lock(mutex_);
        last_ = std::move(picture);
        ++count_;
        statuses_.push_back(frame.status);
        times_.push_back(frame.time);
        changed_.notify_all();
    }
    void end(const std::string& reason) {
        const std::lock_guard lock(mutex_);
        hasEnded_ = true;
        reason_ = reason;
        changed_.notify_all();
    }

    std::mutex mutex_;  // guards all but the stream
    std::condition_variable changed_;
    Picture last_;
    std::size_t count_ = 0;
    std::vector<FrameStatus> statuses_;
    std::vector<double> times_;
    bool hasEnded_ = false;
    std::string reason_;
    std::unique_ptr<CaptureStream> stream_;  // last: it ends before what its handlers use
};

/// What a capture of a whole display is listed with.
[[nodiscard]] inline DisplayInfo infoOf(const SystemDisplay& display) {
    DisplayInfo info;
    info.id = display.id;
    info.pixelWidth = static_cast<std::int64_t>(display.modeSize->width);
    info.pixelHeight = static_cast<std::int64_t>(display.modeSize->height);
    info.pointWidth = static_cast<std::int64_t>(display.bounds.width);
    info.pointHeight = static_cast<std::int64_t>(display.bounds.height);
    info.scaleFactor = display.modeSize->width / display.bounds.width;
    info.globalOriginX = display.bounds.x;
    info.globalOriginY = display.bounds.y;
    return info;
}

}  // namespace lumenwhirl::test
