#include "Recorder/Backends/X11/X11CaptureStream.h"

#include <sys/socket.h>
#include <xcb/damage.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr double looksPerSecond = 60;
constexpr double patience = 3;  // seconds for a server that does not answer, when stopping

}  // namespace

X11CaptureStream::X11CaptureStream(std::string displayName, AreaMaker makeArea)
    : displayName_(std::move(displayName)), makeArea_(std::move(makeArea)) {}

X11CaptureStream::~X11CaptureStream() {
    stop();
    const BrokenPipeGuard guard;
    grabber_.reset();
    area_.reset();
    connection_.reset();
}

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
                            "what is to be recorded has just gone (" + nameOfX11Error(error) + "); choose again");
    thread_ = std::jthread([this] { run(); });
}

void X11CaptureStream::stop() noexcept {
    if (!thread_.joinable()) return;
    stop_.set();
    // A server that another program has grabbed, or that hangs, must not hold a recording back.
    if (!hasEnded_.waitUntil(clock_.now() + patience)) shutdown(connection_->descriptor(), SHUT_RDWR);
    thread_.join();
}

void X11CaptureStream::run() {
    const BrokenPipeGuard guard;
    const double start = clock_.now();
    bool isStopping = false;
    std::string reason;
    try {
        for (double tick = 0; !isStopping;) {
            const bool hasNewPicture = look();
            const bool isNearInput = lookedAt_ - activity_->lastInput() < inputGrace;
            if (grabber_->pixels() == nullptr)
                deliver(FrameStatus::blank);
            else
                deliver(hasNewPicture || isNearInput ? FrameStatus::complete : FrameStatus::idle);
            // The next one in the future of an unchanging schedule, so that nothing adds up.
            tick = std::max(tick, std::floor((clock_.now() - start) * looksPerSecond)) + 1;
            isStopping = stop_.waitUntil(start + tick / looksPerSecond);
        }
        look();
    } catch (const std::exception& error) {
        reason = error.what();
    }
    if (!isStopping) {
        ended_(reason);
    } else if (grabber_->pixels() != nullptr) {
        picture_.time = std::max(picture_.time, lookedAt_);  // the server may have gone during this last look
        deliver(FrameStatus::complete);
    }
    hasEnded_.set();
}

/// Asks what has happened, and reads the picture if it has changed. True if it was.
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
    picture_.origin = area_->origin();
    picture_.time = lookedAt_;  // still the same then
    return isStale_ && readPicture();
}

bool X11CaptureStream::readPicture() {
    const auto source = area_->source();
    if (!source) return false;
    // Before the picture is read: what changes in between is told of again.
    xcb_damage_subtract(*connection_, damage_, XCB_NONE, XCB_NONE);
    picture_.time = clock_.now();  // the server has just answered, so it reads at once
    const std::uint8_t error = grabber_->grab(source->drawable, source->area);
    if (error != 0) {
        area_->examine(error);
        return false;  // still stale
    }
    picture_.width = source->area.width;
    picture_.height = source->area.height;
    picture_.stride = std::ptrdiff_t{4} * source->area.width;
    isStale_ = false;
    return true;
}

void X11CaptureStream::deliver(FrameStatus status) {
    if (status == FrameStatus::complete) {
        picture_.status = status;
        picture_.pixels = grabber_->pixels();  // only now: reading another may have ended in the middle
        frame_(picture_);
    } else {
        CapturedFrame empty;
        empty.status = status;
        empty.time = picture_.time;
        empty.origin = picture_.origin;
        frame_(empty);
    }
}

}  // namespace lumenwhirl
