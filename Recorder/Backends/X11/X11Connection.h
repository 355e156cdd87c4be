#pragma once

#include "Recorder/Platform/PlatformError.h"

#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Owners of XCB's handles. Only for this folder: no public header shows X11.
namespace lumenwhirl {

/// Deleter for what the C library allocates.
struct Freed {
    void operator()(void* memory) const noexcept { std::free(memory); }
};
/// Replies, events and errors.
template <class T>
using XcbHandle = std::unique_ptr<T, Freed>;
using XcbEvent = XcbHandle<xcb_generic_event_t>;

/// The server's extensions, in the versions needed here. A field with an event is the number of the extension's
/// first event, 0 where the extension is missing.
struct X11Extensions {
    std::uint8_t damageEvent = 0;
    std::uint8_t randrEvent = 0;  // 1.5: monitors
    bool hasFixes = false;
    bool hasComposite = false;        // 0.2: pixmaps of windows
    bool hasSharedMemory = false;     // 1.2: segments passed as descriptors
    bool hasScreenSaver = false;      // reports how long the user has been idle
    bool hasRawInput = false;         // XInput 2.1: raw events also while a program has grabbed the device
    bool hasClientProcesses = false;  // X-Resource 1.2: process ids
    bool isXwayland = false;          // as far as it says so, as it does since version 23.1
};

/// One connection to an X server. XCB may be used from any thread, but only one thread may take a connection's
/// events. Everything that waits for the server throws PlatformError of kind notReachable when the server is gone.
class X11Connection {
public:
    /// `displayName`: as in DISPLAY; empty for the value of DISPLAY. Throws PlatformError.
    explicit X11Connection(const std::string& displayName);
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    // NOLINTNEXTLINE(google-explicit-constructor): for the C functions
    operator xcb_connection_t*() const noexcept { return connection_; }
    [[nodiscard]] const xcb_screen_t& screen() const noexcept { return *screen_; }
    [[nodiscard]] xcb_window_t root() const noexcept { return screen_->root; }
    [[nodiscard]] std::uint32_t newID() const { return xcb_generate_id(connection_); }
    /// For poll(). Stays the connection's own.
    [[nodiscard]] int descriptor() const { return xcb_get_file_descriptor(connection_); }
    /// Whether the server is on this machine, so that memory can be shared with it.
    [[nodiscard]] bool isLocal() const;

    /// The reply to a request, as in `reply(&xcb_get_geometry_reply, cookie)`; blocks. Empty if the server reports
    /// an error, whose number, such as XCB_WINDOW, is then in `error`.
    template <class Reply, class Cookie>
    [[nodiscard]] XcbHandle<Reply> reply(Reply* (*take)(xcb_connection_t*, Cookie, xcb_generic_error_t**),
                                         Cookie cookie, std::uint8_t* error = nullptr) const {
        xcb_generic_error_t* problem = nullptr;
        XcbHandle<Reply> reply(take(connection_, cookie, &problem));
        const XcbHandle<xcb_generic_error_t> owner(problem);
        if (!reply) checkAlive();
        if (error != nullptr) *error = problem != nullptr ? problem->error_code : std::uint8_t{0};
        return reply;
    }
    /// Blocks until a request sent by a function named ..._checked has been handled: 0, or the error's number.
    [[nodiscard]] std::uint8_t errorOf(xcb_void_cookie_t cookie) const;
    /// The next event that has arrived, empty if there is none; never blocks.
    [[nodiscard]] XcbEvent nextEvent() const { return XcbEvent(xcb_poll_for_event(connection_)); }
    void flush() const;
    /// Throws when the server is gone.
    void checkAlive() const;

    /// In the order of the names, which need not exist yet. One round trip.
    [[nodiscard]] std::vector<xcb_atom_t> atoms(std::initializer_list<std::string_view> names) const;
    /// Announces the versions that this program speaks, as each connection must before it uses an extension. Two
    /// round trips.
    [[nodiscard]] X11Extensions negotiateExtensions() const;

private:
    xcb_connection_t* connection_ = nullptr;
    const xcb_screen_t* screen_ = nullptr;
};

/// The elements of a reply's list from `first` on: as many as it announces, but no more than it has.
template <class Reply, class Element>
[[nodiscard]] std::span<const Element> listIn(const Reply& reply, const Element* first, std::size_t announced) {
    constexpr std::size_t fixedBytes = 32;
    const auto* const start = reinterpret_cast<const std::byte*>(&reply);
    const auto* const end = start + fixedBytes + std::size_t{4} * reply.length;
    const auto* const begin = reinterpret_cast<const std::byte*>(first);
    const bool isInside = begin >= start && begin < end;
    const auto room = isInside ? static_cast<std::size_t>(end - begin) / sizeof(Element) : 0;
    return {first, std::min(announced, room)};
}
template <class Reply>
[[nodiscard]] std::string textIn(const Reply& reply, const void* first, int announced) {
    const auto characters = listIn(reply, static_cast<const char*>(first), static_cast<std::size_t>(announced));
    return {characters.begin(), characters.end()};
}

/// The name of an X error, such as "BadWindow"; errors of extensions by number.
[[nodiscard]] std::string nameOfX11Error(std::uint8_t code);

/// The host clock's time of an X server's time stamp, in seconds. `now`: the host clock after the stamp arrived.
///
/// Stamps are milliseconds of the host clock in 32 bits, which wrap every 50 days. A server on another machine, or
/// in a container with its own time, has a different clock: its stamps would be days off, so they count as `now`.
[[nodiscard]] double hostTimeOf(std::uint32_t stamp, double now);

/// While it lives, writing to a server that is gone gives an error on this thread instead of ending the program:
/// libxcb writes without MSG_NOSIGNAL.
class BrokenPipeGuard {
public:
    BrokenPipeGuard();
    ~BrokenPipeGuard();
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

private:
    sigset_t former_{};
    bool wasPending_ = false;
};

}  // namespace lumenwhirl
