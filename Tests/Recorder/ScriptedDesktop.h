#pragma once

#include "Recorder/Platform/AudioSystem.h"
#include "Recorder/Platform/HostClock.h"
#include "Recorder/Platform/PlatformError.h"
#include "Recorder/Platform/ScreenSystem.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

/// A desktop and an audio server that do what a test says, at the times of a clock that only sleeping advances.
/// All on the test's own thread.
namespace lumenwhirl::test {

class VirtualClock final : public HostClock {
public:
    explicit VirtualClock(double start = 1000) : now_(start) {}
    [[nodiscard]] double now() const override { return now_; }
    /// Planned actions happen at their times.
    void sleep(double seconds, const std::stop_token&) override { advanceTo(now_ + seconds); }
    void at(double time, std::function<void()> action) { plan_.emplace(time, std::move(action)); }
    void advanceTo(double time) {
        while (!plan_.empty() && plan_.begin()->first <= time) {
            const auto next = plan_.extract(plan_.begin());
            now_ = std::max(now_.load(), next.key());
            next.mapped()();
        }
        now_ = time;
    }

private:
    std::atomic<double> now_;  // any thread may ask
    std::multimap<double, std::function<void()>> plan_;
};

/// A picture of one colour.
class Picture {
public:
    Picture(int width, int height, std::uint32_t xrgb)
        : width_(width), pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), xrgb) {}
    [[nodiscard]] CapturedFrame frame(double time, Point origin = {}) const {
        return {.time = time,
                .pixels = reinterpret_cast<const std::uint8_t*>(pixels_.data()),
                .stride = std::ptrdiff_t{4} * width_,
                .width = width_,
                .height = static_cast<int>(pixels_.size()) / width_,
                .origin = origin};
    }

private:
    int width_;
    std::vector<std::uint32_t> pixels_;
};

/// How every scripted stream starts and ends.
struct Script {
    std::string startFailure;      // thrown by start(), if not empty
    bool hasThreads = true;        // else start() fails as a system without threads lets it
    std::function<void()> onStop;  // once, before the stream ends
    void start() const {
        if (!hasThreads) throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
        if (!startFailure.empty()) throw PlatformError(PlatformError::Kind::failed, startFailure);
    }
    void stop() {
        if (const auto last = std::exchange(onStop, nullptr)) last();
    }
};

class ScriptedCapture final : public CaptureStream {
public:
    struct Controls : Script {
        FrameHandler deliver;
        EndHandler end;
    };
    explicit ScriptedCapture(Controls& controls) : controls_(controls) {}
    void start(FrameHandler frame, EndHandler ended) override {
        controls_.start();
        controls_.deliver = std::move(frame);
        controls_.end = std::move(ended);
    }
    void stop() noexcept override { controls_.stop(); }

private:
    Controls& controls_;
};

class ScriptedAudio final : public AudioStream {
public:
    struct Controls : Script {
        AudioFormat format;
        BlockHandler deliver;
        EndHandler end;
        /// `seconds` of a constant level.
        void play(double time, double seconds, float level) const {
            const auto frames = static_cast<std::size_t>(seconds * format.sampleRate);
            const std::vector<float> samples(frames * static_cast<std::size_t>(format.channels), level);
            deliver({.time = time, .samples = samples.data(), .frames = frames});
        }
    };
    explicit ScriptedAudio(Controls& controls) : controls_(controls) {}
    [[nodiscard]] AudioFormat format() const override { return controls_.format; }
    void start(BlockHandler block, EndHandler ended) override {
        controls_.start();
        controls_.deliver = std::move(block);
        controls_.end = std::move(ended);
    }
    void stop() noexcept override { controls_.stop(); }

private:
    Controls& controls_;
};

class ScriptedInput final : public InputStream {
public:
    struct Controls : Script {
        Handler deliver;
    };
    explicit ScriptedInput(Controls& controls) : controls_(controls) {}
    void start(Handler handler) override {
        controls_.start();
        controls_.deliver = std::move(handler);
    }
    void stop() noexcept override { controls_.stop(); }

private:
    Controls& controls_;
};

class ScriptedScreen final : public ScreenSystem {
public:
    std::vector<SystemDisplay> displayList;
    std::vector<SystemWindow> windowList;
    bool canCapture = true, canListen = true, isGone = false;
    ScriptedCapture::Controls capture;
    ScriptedInput::Controls inputControls;
    std::function<void()> pressHotKey;

    [[nodiscard]] std::vector<SystemDisplay> displays() override { return reached(displayList); }
    [[nodiscard]] std::vector<SystemWindow> windows() override { return reached(windowList); }
    [[nodiscard]] std::unique_ptr<CaptureStream> captureDisplay(std::uint32_t, const DisplayInfo&) override {
        return std::make_unique<ScriptedCapture>(capture);
    }
    [[nodiscard]] std::unique_ptr<CaptureStream> captureWindow(std::uint32_t, const DisplayInfo&) override {
        return std::make_unique<ScriptedCapture>(capture);
    }
    [[nodiscard]] std::unique_ptr<InputStream> input() override {
        if (!canListen) throw PlatformError(PlatformError::Kind::unsupported, "input is not to be seen");
        return std::make_unique<ScriptedInput>(inputControls);
    }
    [[nodiscard]] std::unique_ptr<HotKeyGrab> hotKey() override {
        struct Grab final : HotKeyGrab {
            explicit Grab(std::function<void()>& press) : press_(press) {}
            ~Grab() override { release(); }
            bool take(std::int64_t, const Modifiers&, std::function<void()> pressed) override {
                press_ = std::move(pressed);
                return true;
            }
            void release() noexcept override { press_ = nullptr; }
            std::function<void()>& press_;
        };
        return std::make_unique<Grab>(pressHotKey);
    }
    [[nodiscard]] bool canCaptureScreen() override { return reached(canCapture); }
    [[nodiscard]] bool canListenToInput() override { return reached(canListen); }

private:
    template <class Value>
    Value reached(const Value& value) const {
        if (isGone) throw PlatformError(PlatformError::Kind::notReachable, "the display is gone");
        return value;
    }
};

class ScriptedAudioSystem final : public AudioSystem {
public:
    ScriptedAudioSystem() { mic.format.channels = 1; }
    std::vector<MicDevice> devices;
    std::optional<std::string> defaultID;
    bool isReachable = true;
    ScriptedAudio::Controls system, mic;
    std::vector<std::string> openedMicrophones;

    [[nodiscard]] std::vector<MicDevice> inputs() override { return reached(devices); }
    [[nodiscard]] std::optional<std::string> defaultInputID() override { return reached(defaultID); }
    [[nodiscard]] std::unique_ptr<AudioStream> microphone(const std::string& id) override {
        openedMicrophones.push_back(id);
        return std::make_unique<ScriptedAudio>(reached(mic));
    }
    [[nodiscard]] std::unique_ptr<AudioStream> systemAudio() override {
        return std::make_unique<ScriptedAudio>(reached(system));
    }

private:
    template <class Value>
    Value& reached(Value& value) const {
        if (!isReachable) throw PlatformError(PlatformError::Kind::notReachable, "no audio server answers");
        return value;
    }
};

}  // namespace lumenwhirl::test
