#include "Recorder/Backends/X11/CapturedArea.h"
#include "Recorder/Backends/X11/PictureGrabber.h"
#include "Recorder/Backends/X11/X11Connection.h"
#include "Recorder/Backends/X11/X11Streams.h"
#include "Recorder/Backends/X11/X11Thread.h"
#include "Recorder/Platform/HostClock.h"

#include <xcb/damage.h>
#include <xcb/screensaver.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <functional>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr double looksPerSecond = 60;
constexpr double patience = 3;  // seconds to wait for the server when stopping
constexpr double longestRepaint =
    0.3;  // seconds from the first picture on; a window that is not covered gets none

/// When the user last did something: moved the pointer or, where the server reports idle time, pressed anything.
class UserActivity {
public:
    /// `now`, here and below: the host clock. The start counts as input, as it is worth seeing.
    UserActivity(const X11Connection& connection, const X11Extensions& extensions, double now)
        : connection_(connection), knowsIdleTime_(extensions.hasScreenSaver), lastInput_(now) {}

    /// Sends the requests; takeAnswer() must follow.
    void ask() {
        pointerCookie_ = xcb_query_pointer(connection_, connection_.root());
        if (knowsIdleTime_) idleCookie_ = xcb_screensaver_query_info(connection_, connection_.root());
    }
    void takeAnswer(double now) {
        if (const auto pointer = connection_.reply(&xcb_query_pointer_reply, pointerCookie_)) {
            if (hasPointer_ && (pointer->root_x != x_ || pointer->root_y != y_ || pointer->mask != mask_))
                lastInput_ = now;
            hasPointer_ = true;
            x_ = pointer->root_x;
            y_ = pointer->root_y;
            mask_ = pointer->mask;
        }
        if (!knowsIdleTime_) return;
        if (const auto idle = connection_.reply(&xcb_screensaver_query_info_reply, idleCookie_))
            lastInput_ = std::max(lastInput_, now - idle->ms_since_user_input / 1000.0);
    }
    /// Host clock.
    [[nodiscard]] double lastInput() const noexcept { return lastInput_; }

private:
    const X11Connection& connection_;
    bool knowsIdleTime_;
    double lastInput_;
    xcb_query_pointer_cookie_t pointerCookie_{};
    xcb_screensaver_query_info_cookie_t idleCookie_{};
    bool hasPointer_ = false;  // the three below are known
    int x_ = 0, y_ = 0, mask_ = 0;
};

class X11CaptureStream final : public CaptureStream {
public:
    using AreaMaker = std::function<std::unique_ptr<CapturedArea>(const X11Connection& connection,
                                                                  const X11Extensions& extensions)>;

    /// `makeArea` is called by start().
    X11CaptureStream(std::string displayName, AreaMaker makeArea)
        : displayName_(std::move(displayName)), makeArea_(std::move(makeArea)) {}
    ~X11CaptureStream() override {
        stop();
        const BrokenPipeGuard guard;
        grabber_.reset();
        area_.reset();
        connection_.reset();
    }

    void start(FrameHandler frame, EndHandler ended) override;
    void stop() noexcept override { thread_.stop(connection_.get(), patience); }

private:
    void run();
    bool look();
    [[nodiscard]] bool awaitsRepaint();
    [[nodiscard]] bool readPicture();
    void deliver(FrameStatus status);

    std::string displayName_;
    AreaMaker makeArea_;
    SystemClock clock_;
    FrameHandler frame_;
    EndHandler ended_;

    // Used by the thread alone, once it runs; in the order of their destruction.
    std::unique_ptr<X11Connection> connection_;
    X11Extensions extensions_;
    std::unique_ptr<CapturedArea> area_;
    std::unique_ptr<PictureGrabber> grabber_;
    std::unique_ptr<UserActivity> activity_;
    std::uint32_t damage_ = 0;
    bool isStale_ = true;      // the picture has changed since it was read
    int picturesRead_ = 0;     // two at most are counted
    double firstReadAt_ = 0;   // host clock
    CapturedFrame lastFrame_;  // the last that was read
    double lookedAt_ = 0;      // host clock

    X11Thread thread_;
};

void X11CaptureStream::start(FrameHandler frame, EndHandler ended) {
    const BrokenPipeGuard guard;
    frame_ = std::move(frame);
    ended_ = std::move(ended);
    connection_ = std::make_unique<X11Connection>(displayName_);
    extensions_ = connection_->negotiateExtensions();
    if (extensions_.damageEvent == 0 || !extensions_.hasFixes)
        throw PlatformError(PlatformError::Kind::unsupported,
                            "this X server lacks the extension DAMAGE, without which nothing can be recorded");
    area_ = makeArea_(*connection_, extensions_);
    grabber_ = std::make_unique<PictureGrabber>(*connection_, extensions_);
    activity_ = std::make_unique<UserActivity>(*connection_, extensions_, clock_.now());
    damage_ = connection_->newID();
    if (const std::uint8_t error = connection_->errorOf(
            xcb_damage_create_checked(*connection_, damage_, area_->damaged(), XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY)))
        throw PlatformError(PlatformError::Kind::notFound,
                            "what was to be recorded has just gone (" + nameOfX11Error(error) + "); choose again");
    thread_.start([this] { run(); });
}

void X11CaptureStream::run() {
    const BrokenPipeGuard guard;
    const double start = clock_.now();
    bool isStopping = false, hasPicture = false;
    std::string reason;
    try {
        for (double tick = 0; !isStopping;) {
            const bool hasNewPicture = look();
            const bool isNearInput = lookedAt_ - activity_->lastInput() < inputGrace;
            const bool isBlank = grabber_->pixels() == nullptr || awaitsRepaint();
            const bool isComplete = !isBlank && (hasNewPicture || isNearInput || !hasPicture);
            hasPicture |= isComplete;
            if (isBlank)
                deliver(FrameStatus::blank);
            else
                deliver(isComplete ? FrameStatus::complete : FrameStatus::idle);
            // The next tick of a fixed schedule that lies ahead, so that delays do not add up. Those behind were
            // missed, and so is a change that could not be read.
            const double next = std::max(tick, std::floor((clock_.now() - start) * looksPerSecond)) + 1;
            if (isComplete || !isStale_) lastFrame_.missed = 0;
            lastFrame_.missed += static_cast<int>(next - tick) - (isStale_ ? 0 : 1);
            tick = next;
            isStopping = thread_.waitUntil(start + tick / looksPerSecond);
        }
        if (!look()) lastFrame_.missed = 0;
    } catch (const std::exception& error) {
        reason = error.what();
    }
    if (!isStopping) {
        ended_(reason);
    } else if (grabber_->pixels() != nullptr) {
        lastFrame_.time = std::max(lastFrame_.time, lookedAt_);  // this last look may have failed half-way
        deliver(FrameStatus::complete);
    }
}

/// Finds out what has happened, and reads the picture if it has changed. True if it was read.
bool X11CaptureStream::look() {
    lookedAt_ = clock_.now();
    area_->ask();
    activity_->ask();
    area_->takeAnswer();
    activity_->takeAnswer(lookedAt_);
    while (const XcbEvent event = connection_->nextEvent()) {
        if ((event->response_type & 0x7f) == extensions_.damageEvent + XCB_DAMAGE_NOTIFY)
            isStale_ = true;
        else
            area_->handle(*event);
    }
    isStale_ |= area_->settle();
    lastFrame_.origin = area_->origin();
    lastFrame_.time = lookedAt_;  // still the same at this time
    return isStale_ && readPicture();
}

bool X11CaptureStream::readPicture() {
    const auto source = area_->source();
    if (!source) return false;
    // Before the picture is read: what changes in between is reported again.
    xcb_damage_subtract(*connection_, damage_, XCB_NONE, XCB_NONE);
    lastFrame_.time = clock_.now();  // the server has just answered, so it reads at once
    const std::uint8_t error = grabber_->grab(source->drawable, source->area);
    if (error != 0) {
        area_->examine(error);
        return false;  // still stale
    }
    lastFrame_.width = source->area.width;
    lastFrame_.height = source->area.height;
    lastFrame_.stride = std::ptrdiff_t{4} * source->area.width;
    isStale_ = false;
    if (picturesRead_ == 0) firstReadAt_ = lastFrame_.time;
    picturesRead_ = std::min(picturesRead_ + 1, 2);
    return true;
}

/// Whether the picture may be an empty one.
bool X11CaptureStream::awaitsRepaint() {
    return area_->isPaintedAnew() && picturesRead_ < 2 && lookedAt_ < firstReadAt_ + longestRepaint;
}

void X11CaptureStream::deliver(FrameStatus status) {
    if (status == FrameStatus::complete) {
        lastFrame_.status = status;
        lastFrame_.pixels = grabber_->pixels();  // only now: a grab that failed may have moved them
        frame_(lastFrame_);
    } else {
        CapturedFrame empty;
        empty.status = status;
        empty.time = lastFrame_.time;
        empty.origin = lastFrame_.origin;
        frame_(empty);
    }
}

}  // namespace

std::unique_ptr<CaptureStream> makeX11DisplayCapture(const std::string& displayName, std::uint32_t id,
                                                     double scale) {
    return std::make_unique<X11CaptureStream>(
        displayName, [id, scale](const X11Connection& connection, const X11Extensions& extensions) {
            return makeDisplayArea(connection, extensions, id, scale);
        });
}

std::unique_ptr<CaptureStream> makeX11WindowCapture(const std::string& displayName, std::uint32_t window,
                                                    double scale) {
    return std::make_unique<X11CaptureStream>(
        displayName, [window, scale](const X11Connection& connection, const X11Extensions& extensions) {
            return makeWindowArea(connection, extensions, window, scale);
        });
}

}  // namespace lumenwhirl
