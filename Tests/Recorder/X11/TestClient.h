#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct xcb_connection_t;

namespace lumenwhirl::test {

/// A program on a display, as a test wants it: does what a user would with pointer and keyboard, and sets up the
/// screen. Every function returns when the server has handled it. Pixels; throws std::runtime_error.
class TestClient {
public:
    explicit TestClient(const std::string& display);
    ~TestClient();
    TestClient(const TestClient&) = delete;
    TestClient& operator=(const TestClient&) = delete;

    [[nodiscard]] xcb_connection_t* connection() const noexcept { return connection_; }
    [[nodiscard]] std::uint32_t root() const noexcept { return root_; }
    [[nodiscard]] std::uint32_t atom(const std::string& name) const;
    /// Waits until all that was sent has been handled.
    void finish() const;
    /// Waits until that holds: asks again and again, for 20 s. Then throws, with the name of what was waited for.
    void waitUntil(const std::string& what, const std::function<bool()>& condition) const;
    [[nodiscard]] bool hasWindowManager() const;

    // The user's hands, through XTEST. Keys by X key code, such as 11 for "2", 50 for the left shift.
    void movePointer(int x, int y) const;
    void setButton(int button, bool isDown) const;
    void setKey(int keyCode, bool isDown) const;

    /// Sets the resources that toolkits read their scale from, such as "Xft.dpi:\t192\n".
    void setResources(const std::string& resources) const;
    /// RANDR, as `xrandr --setmonitor`: no event tells of it. `output`: whether it covers the screen's only one,
    /// which a screen's first monitor must.
    void setMonitor(const std::string& name, int x, int y, int width, int height, bool hasOutput) const;
    /// Gives the screen, and its only output, another size at most the first one's. RANDR tells of it.
    void setScreenSize(int width, int height) const;
    /// Sets a property of a window to a text.
    void setText(std::uint32_t window, const std::string& property, const std::string& type,
                 const std::string& text) const;
    /// To numbers or atoms.
    void setNumbers(std::uint32_t window, const std::string& property, const std::string& type,
                    const std::vector<std::uint32_t>& numbers) const;

private:
    void fakeInput(std::uint8_t type, std::uint8_t detail, int x, int y) const;
    xcb_connection_t* connection_ = nullptr;
    std::uint32_t root_ = 0;
};

}  // namespace lumenwhirl::test
