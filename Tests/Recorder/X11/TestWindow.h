#pragma once

#include "Tests/Recorder/X11/TestClient.h"

#include <cstdint>
#include <string>

namespace lumenwhirl::test {

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
    /// Repaints it in one color.
    void fill(std::uint32_t color);
    /// Paints a part over, until the next fill().
    void paint(int x, int y, int width, int height, std::uint32_t color);
    /// Of the content's top-left corner with a window manager that has no frame, else of the frame's.
    void move(int x, int y);
    void resize(int width, int height);
    void raise();
    /// Takes it off the screen and back, as minimising does.
    void hide();
    void show();
    void minimise();  // by asking the window manager, of which there must be one
    void close();

private:
    void waitForMapState(bool isViewable) const;
    const TestClient& client_;
    std::uint32_t window_ = 0, context_ = 0, colorMap_ = 0;
};

}  // namespace lumenwhirl::test
