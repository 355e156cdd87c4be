#pragma once

#include "Recorder/Backends/X11/X11ScreenSystem.h"
#include "Recorder/Platform/PlatformError.h"
#include "Tests/Recorder/X11/TestClient.h"
#include "Tests/Recorder/X11/VirtualDisplay.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace lumenwhirl::test {

constexpr std::uint32_t red = 0xe01020, green = 0x20c040, blue = 0x3050f0;

/// A small desktop and a program on it.
struct Desktop {
    explicit Desktop(const VirtualDisplay::Options& options) : display(options) {}

    [[nodiscard]] std::unique_ptr<CaptureStream> captureOf(const SystemDisplay& listed) const {
        DisplayInfo info;
        info.scaleFactor = listed.modeSize->width / listed.bounds.width;
        return system->captureDisplay(listed.id, info);
    }
    [[nodiscard]] std::unique_ptr<CaptureStream> captureOf(const TestWindow& window, double scale = 1) const {
        DisplayInfo info;
        info.scaleFactor = scale;
        return system->captureWindow(window.id(), info);
    }
    /// As the window is listed.
    [[nodiscard]] Rect frameOf(const TestWindow& window) const {
        for (const SystemWindow& each : system->windows())
            if (each.id == window.id()) return each.frame;
        return {};
    }

    VirtualDisplay display;
    TestClient client{display.name()};
    std::unique_ptr<ScreenSystem> system = connectToX11(display.name());
};

/// A copy of a captured frame.
struct Frame {
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
        return !pixels.empty() && std::ranges::count(pixels, color) == std::ssize(pixels);
    }
    [[nodiscard]] bool hasSize(int w, int h) const { return width == w && height == h; }
};

using FrameCondition = std::function<bool(const Frame&)>;
inline FrameCondition isAll(std::uint32_t color) {
    return [color](const Frame& frame) { return frame.isAll(color); };
}
inline FrameCondition isAt(int x, int y, std::uint32_t color) {
    return [=](const Frame& frame) { return frame.at(x, y) == color; };
}

/// A running capture stream, of which a test waits for what it expects.
class Capture {
public:
    explicit Capture(std::unique_ptr<CaptureStream> stream) : stream_(std::move(stream)) {
        stream_->start([this](const CapturedFrame& frame) { take(frame); },
                       [this](const std::string& reason) { end(reason); });
    }

    /// The first frame from now on that meets the condition; throws after 20 s.
    Frame waitFor(const std::string& what, const FrameCondition& condition) {
        std::unique_lock lock(mutex_);
        std::size_t seen = statuses_.size();
        wait(lock, what, [&] {
            if (hasEnded_) throw std::runtime_error("the stream ended (" + reason_ + ") before " + what);
            return std::exchange(seen, statuses_.size()) < statuses_.size() && condition(last_);
        });
        return last_;
    }
    Frame waitForComplete(const std::string& what, const FrameCondition& condition) {
        return waitFor(
            what, [&](const Frame& frame) { return frame.status == FrameStatus::complete && condition(frame); });
    }
    Frame waitForIdle() {
        return waitFor("it is idle", [](const Frame& frame) { return frame.status == FrameStatus::idle; });
    }
    /// Why the stream ended by itself; throws if it has not after 20 s.
    std::string waitForEnd() {
        std::unique_lock lock(mutex_);
        wait(lock, "it ends", [&] { return hasEnded_; });
        return reason_;
    }
    /// Blocks until so many more frames have come, and returns their statuses.
    std::vector<FrameStatus> nextStatuses(std::ptrdiff_t count) {
        std::unique_lock lock(mutex_);
        const std::ptrdiff_t first = std::ssize(statuses_);
        wait(lock, "frames come", [&] { return std::ssize(statuses_) >= first + count; });
        return {statuses_.begin() + first, statuses_.begin() + first + count};
    }
    /// Ends it; the last frame.
    Frame stop() {
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
    template <class Condition>
    void wait(std::unique_lock<std::mutex>& lock, const std::string& what, const Condition& condition) {
        if (!changed_.wait_for(lock, std::chrono::seconds(20), condition))
            throw std::runtime_error("waited in vain until " + what);
    }
    void take(const CapturedFrame& frame) {
        Frame copy{frame.status, frame.time, frame.width, frame.height, frame.origin};
        for (int y = 0; y < frame.height; ++y)
            for (int x = 0; x < frame.width; ++x) {
                const std::uint8_t* const pixel = frame.pixels + y * frame.stride + std::ptrdiff_t{4} * x;
                copy.pixels.push_back(static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]));
            }
        const std::lock_guard lock(mutex_);
        last_ = std::move(copy);
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
    Frame last_;
    std::vector<FrameStatus> statuses_;
    std::vector<double> times_;
    bool hasEnded_ = false;
    std::string reason_;
    std::unique_ptr<CaptureStream> stream_;  // last: it ends before what its handlers use
};

/// The kind of what capturing fails with at its start; empty if it starts.
inline std::optional<PlatformError::Kind> failureOf(std::unique_ptr<CaptureStream> stream) {
    try {
        const Capture capture(std::move(stream));
        return std::nullopt;
    } catch (const PlatformError& error) {
        return error.kind();
    }
}

}  // namespace lumenwhirl::test
