#pragma once

#include "Recorder/Backends/X11/CapturedArea.h"
#include "Recorder/Backends/X11/PictureGrabber.h"
#include "Recorder/Backends/X11/StopEvent.h"
#include "Recorder/Backends/X11/UserActivity.h"
#include "Recorder/Backends/X11/X11Connection.h"
#include "Recorder/Platform/CaptureStream.h"
#include "Recorder/Platform/HostClock.h"

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace lumenwhirl {

/// Looks at an area 60 times a second, over a connection and on a thread of its own, and reads a picture whenever
/// the server has told of damage since the last one. Each look is one round trip; a look at a still screen costs
/// nothing else and delivers either the last picture again or an idle frame.
class X11CaptureStream final : public CaptureStream {
public:
    using AreaMaker = std::function<std::unique_ptr<CapturedArea>(const X11Connection& connection,
                                                                  const X11Extensions& extensions)>;

    /// `makeArea` is called by start().
    X11CaptureStream(std::string displayName, AreaMaker makeArea);
    ~X11CaptureStream() override;

    void start(FrameHandler frame, EndHandler ended) override;
    void stop() noexcept override;

private:
    void run();
    bool look();
    [[nodiscard]] bool readPicture();
    void deliver(FrameStatus status);

    std::string displayName_;
    AreaMaker makeArea_;
    SystemClock clock_;
    FrameHandler frame_;
    EndHandler ended_;

    // Of the thread alone, once it runs; in the order of their destruction.
    std::unique_ptr<X11Connection> connection_;
    X11Extensions extensions_;
    std::unique_ptr<CapturedArea> area_;
    std::unique_ptr<PictureGrabber> grabber_;
    std::unique_ptr<UserActivity> activity_;
    std::uint32_t damage_ = 0;
    bool isStale_ = true;    // the picture has changed since it was read
    CapturedFrame picture_;  // what was read last
    double lookedAt_ = 0;    // host clock

    StopEvent stop_, hasEnded_;
    std::jthread thread_;
};

}  // namespace lumenwhirl
