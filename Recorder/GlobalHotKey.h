#pragma once

#include "Recorder/Platform/InputStream.h"
#include "Recorder/Platform/ScreenSystem.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace lumenwhirl {

/// A key that works in every program, such as the one that stops a recording. No other program gets it until it is
/// unregistered or this is destroyed.
class GlobalHotKey {
public:
    /// The stop key: Super+Shift+2, by virtual key code.
    static constexpr std::int64_t stopKeyCode = 19;
    static constexpr Modifiers stopModifiers{.command = true, .shift = true};

    /// Registers nothing yet. `handler` is called on a thread of its own.
    GlobalHotKey(std::uint32_t id, std::function<void()> handler) : id_(id), handler_(std::move(handler)) {}

    /// False when another program has the key, or the desktop has no hot keys. Not while one is registered.
    [[nodiscard]] bool registerKey(ScreenSystem& screen, std::int64_t keyCode, const Modifiers& modifiers);
    /// The handler is not called after it returns. Not from the handler.
    void unregister() noexcept { grab_.reset(); }
    /// The stop key, registered if it is free; otherwise it never fires.
    [[nodiscard]] static GlobalHotKey stopRecording(ScreenSystem& screen, std::function<void()> handler);

    [[nodiscard]] std::uint32_t id() const noexcept { return id_; }
    [[nodiscard]] bool isRegistered() const noexcept { return grab_ != nullptr; }

private:
    std::uint32_t id_;
    std::function<void()> handler_;
    std::unique_ptr<HotKeyGrab> grab_;
};

}  // namespace lumenwhirl
