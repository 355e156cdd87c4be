#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

namespace lumenwhirl::test {

class TestClient;

/// A desktop of the test's own: an X server (Xvfb) without a screen and, on request, a window manager (openbox).
/// Both end with it, and with the thread that made it. Throws std::runtime_error.
class VirtualDisplay {
public:
    struct Options {
        int width = 1280, height = 720;      // pixels
        int depth = 24;                      // bits a pixel
        std::vector<std::string> missing{};  // extensions to leave out, such as "MIT-SHM"
    };
    /// Blocks until the server answers.
    explicit VirtualDisplay(const Options& options);
    VirtualDisplay() : VirtualDisplay(Options()) {}
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    /// For DISPLAY, such as ":3".
    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    /// Blocks until it manages windows.
    void startWindowManager();
    /// Ends the server, which looks like a crash to programs.
    void end() noexcept;

private:
    std::string name_;
    pid_t server_ = -1, manager_ = -1;
    std::unique_ptr<TestClient> firstClient_;  // of the window manager
};

}  // namespace lumenwhirl::test
