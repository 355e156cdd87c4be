#pragma once

#include "Recorder/Backends/X11/X11Connection.h"

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace lumenwhirl::test {

/// A program on a display: does what a user would with pointer and keyboard, and sets up the screen. Every
/// function returns when the server has handled it. Pixels; throws std::runtime_error.
class TestClient {
public:
    explicit TestClient(const std::string& display) : connection_(display) {}

    [[nodiscard]] const X11Connection& connection() const noexcept { return connection_; }
    [[nodiscard]] std::uint32_t root() const noexcept { return connection_.root(); }
    [[nodiscard]] std::uint32_t atom(const std::string& name) const { return connection_.atoms({name}).front(); }
    /// The reply to a request; throws if the server refuses it.
    template <class Reply, class Cookie>
    XcbHandle<Reply> reply(Reply* (*take)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie) const {
        XcbHandle<Reply> reply = connection_.reply(take, cookie);
        if (!reply) throw std::runtime_error("the X server refused a request");
        return reply;
    }
    /// Waits until all that was sent has been handled.
    void finish() const { reply(&xcb_get_input_focus_reply, xcb_get_input_focus(connection_)); }
    /// Polls the condition; throws after 20 s, naming what was waited for.
    void waitUntil(const std::string& what, const std::function<bool()>& condition) const;

    // The user's hands, through XTEST. Keys by X key code, such as 11 for "2", 50 for the left shift.
    void movePointer(int x, int y) const { fakeInput(XCB_MOTION_NOTIFY, 0, x, y); }
    void setButton(int button, bool isDown) const {
        fakeInput(isDown ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, button, 0, 0);
    }
    void setKey(int keyCode, bool isDown) const {
        fakeInput(isDown ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keyCode, 0, 0);
    }
    /// Presses the keys one after the other, as a hand does, and releases them in reverse order.
    void type(const std::vector<int>& keyCodes) const;

    /// Sets the resources that toolkits read their scale from, such as "Xft.dpi:\t192\n".
    void setResources(const std::string& resources) const {
        setText(root(), "RESOURCE_MANAGER", "STRING", resources);
    }
    /// RANDR, as `xrandr --setmonitor`: no event reports it. `hasOutput`: it covers the screen's only output, as
    /// the screen's first monitor must.
    void setMonitor(const std::string& name, int x, int y, int width, int height, bool hasOutput) const;
    /// Gives the screen, and its only output, another size, at most the first one's. RANDR reports it.
    void setScreenSize(int width, int height) const;
    /// Sets a property of a window to a text, or to numbers or atoms.
    void setText(std::uint32_t window, const std::string& property, const std::string& type,
                 const std::string& text) const {
        setProperty(window, property, type, 8, text.size(), text.data());
    }
    void setNumbers(std::uint32_t window, const std::string& property, const std::string& type,
                    const std::vector<std::uint32_t>& numbers) const {
        setProperty(window, property, type, 32, numbers.size(), numbers.data());
    }

private:
    void fakeInput(std::uint8_t type, int detail, int x, int y) const;
    void setProperty(std::uint32_t window, const std::string& property, const std::string& type, std::uint8_t bits,
                     std::size_t count, const void* values) const;
    X11Connection connection_;
};

/// A window of a program. Colours are 0xRRGGBB; the whole window has one, which survives being covered. Every
/// function returns when the server, and the window manager if there is one, has done it.
class TestWindow {
public:
    struct Options {
        int x = 100, y = 100, width = 400, height = 300;  // of the content, pixels
        std::uint32_t color = 0x336699;
        std::string title = "A window", application = "TestApplication";
        std::uint32_t parent = 0;       // a window's id; the root if 0
        bool isLeftAlone = false;       // by window managers (override-redirect)
        bool hasAlpha = false;          // a depth of 32 bits
        std::uint32_t borderWidth = 0;  // pixels, drawn by the server around the content
    };
    /// Shows it. The client must outlive it.
    TestWindow(const TestClient& client, const Options& options);
    /// Closes it.
    ~TestWindow();
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;

    [[nodiscard]] std::uint32_t id() const noexcept { return window_; }
    /// Repaints it in one colour.
    void fill(std::uint32_t color);
    /// Paints over a part, until the next fill().
    void paint(int x, int y, int width, int height, std::uint32_t color);
    /// Moves the content's top-left corner or, with a window manager, that of the frame.
    void move(int x, int y) { configure(XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, {x, y}); }
    void resize(int width, int height);
    void raise() { configure(XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_ABOVE}); }
    /// Takes it off the screen and back, as minimising does.
    void hide() {
        xcb_unmap_window(client_.connection(), window_);
        waitForMapState(false);
    }
    void show() { waitForMapState(true); }
    void minimise();  // by asking the window manager, which must exist
    void close() {
        xcb_destroy_window(client_.connection(), window_);
        client_.finish();
    }

private:
    void configure(std::uint16_t mask, const std::vector<std::int32_t>& values) const;
    void waitForMapState(bool isViewable) const;
    const TestClient& client_;
    std::uint32_t window_ = 0, context_ = 0, colorMap_ = 0;
};

}  // namespace lumenwhirl::test
