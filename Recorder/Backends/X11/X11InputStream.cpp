#include "Recorder/Backends/X11/Keyboard.h"
#include "Recorder/Backends/X11/Monitors.h"
#include "Recorder/Backends/X11/X11Connection.h"
#include "Recorder/Backends/X11/X11Streams.h"
#include "Recorder/Backends/X11/X11Thread.h"
#include "Recorder/Platform/HostClock.h"

#include <xcb/xinput.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace lumenwhirl {
namespace {

// More than 1/120 s apart, or the log would drop every other look.
constexpr double looksPerSecond = 118;
// Seconds without motion after which the pointer rests. The log holds its place from there on, as cursors are
// drawn on a smoothed path through the log: it needs to know where the pointer arrived and that it stayed.
constexpr double restDelay = 0.4;
// Seconds between two moves from which on the pointer is known to have stayed until the second. Less would make
// steps of slow motion.
constexpr double longestMove = 0.1;
constexpr double patience = 3;  // seconds to wait for the server when stopping
constexpr double never = -std::numeric_limits<double>::infinity();

// The buttons that a wheel presses and releases at each notch.
constexpr std::uint8_t wheelUp = 4, wheelDown = 5, wheelLeft = 6, wheelRight = 7;

/// Which button each one stands for, as left-handed users swap them; 0 for none. Raw events carry the physical
/// button; the map of its device turns that into the device's button, and the pointer's map that into the one
/// programs see.
using ButtonMap = std::array<std::uint8_t, 256>;

/// `buttons`: from button 1 on; the others keep their numbers.
ButtonMap buttonMapFrom(std::span<const std::uint8_t> buttons) {
    ButtonMap map{};
    std::iota(map.begin(), map.end(), std::uint8_t{0});
    std::copy_n(buttons.begin(), std::min(buttons.size(), map.size() - 1), map.begin() + 1);
    return map;
}

ButtonMap pointerMapOf(const X11Connection& connection) {
    const auto reply = connection.reply(&xcb_get_pointer_mapping_reply, xcb_get_pointer_mapping(connection));
    return buttonMapFrom(reply ? listIn(*reply, xcb_get_pointer_mapping_map(reply.get()), reply->map_len)
                               : std::span<const std::uint8_t>());
}

ButtonMap deviceMapOf(const X11Connection& connection, std::uint16_t device) {
    const auto reply =
        connection.reply(&xcb_input_get_device_button_mapping_reply,
                         xcb_input_get_device_button_mapping(connection, static_cast<std::uint8_t>(device)));
    return buttonMapFrom(
        reply ? listIn(*reply, xcb_input_get_device_button_mapping_map(reply.get()), reply->map_size)
              : std::span<const std::uint8_t>());  // it was unplugged
}

/// One connection and one thread, so that everything arrives in the order in which it happened: events, changes of
/// the keyboard, and the replies that say where the pointer is.
///
/// The extension RECORD would report the position of each event, but is not usable: X.Org's server (21.1) loses
/// its events, and may end up in a loop that freezes the desktop. FlushClient() in os/io.c counts what is to be
/// sent to the recording client, then lets RECORD add to it in a callback; the addition is dropped or, if it fills
/// the buffer, nothing is ever written again. Bursts of 3000 button events hung the server within seconds.
class X11InputStream final : public InputStream {
public:
    explicit X11InputStream(std::string displayName) : displayName_(std::move(displayName)) {}
    ~X11InputStream() override {
        stop();
        const BrokenPipeGuard guard;
        connection_.reset();
    }

    void start(Handler handler) override;
    void stop() noexcept override { thread_.stop(connection_ ? &*connection_ : nullptr, patience); }

private:
    void listenToDevices();
    void run();
    [[nodiscard]] bool wait();
    enum class Look { forButtons, due, last };
    void look(Look purpose);
    void followPointer(Point place, double now, Look purpose);
    void addMove(double time, Point place);
    [[nodiscard]] std::optional<Point> askPointer();
    void takeEvents();
    void take(const xcb_input_raw_button_press_event_t& event);
    void takeButton(double time, std::uint8_t button, bool isDown);
    [[nodiscard]] std::uint8_t buttonOf(const xcb_input_raw_button_press_event_t& event);
    void deliver();
    void forgetTaken();

    const std::string displayName_;
    const SystemClock clock_;
    Handler handler_;
    std::optional<X11Connection> connection_;
    double scale_ = 1;                  // pixels a point
    std::uint8_t deviceExtension_ = 0;  // XInput's number

    // Used by the thread alone, once it runs.
    std::optional<Keyboard> keyboard_;
    ButtonMap pointerMap_{};
    std::map<std::uint16_t, ButtonMap> deviceMaps_;  // of the devices in taken_
    double nextLook_ = 0;                            // host clock
    Point pointer_;                                  // in the last move added
    double addedAt_ = never;                         // when that was
    double arrivedAt_ = never;                       // and when the first there was
    double seenAt_ = 0;                              // when it was last seen there
    double deliveredAt_ = 0;                         // the latest of all events
    std::vector<InputEvent> moves_;                  // not delivered yet, in the order of time
    std::vector<InputEvent> taken_;                  // all others that are not delivered yet
    std::optional<double> positionTime_;             // of the first of taken_ that needs a position

    X11Thread thread_;
};

void X11InputStream::start(Handler handler) {
    const BrokenPipeGuard guard;
    handler_ = std::move(handler);
    connection_.emplace(displayName_);
    scale_ = scaleOf(*connection_);
    listenToDevices();
    keyboard_.emplace(*connection_);
    pointerMap_ = pointerMapOf(*connection_);
    pointer_ = askPointer().value_or(Point{});
    seenAt_ = clock_.now();
    // Events up to here are from before the start, but the keyboard must see them: keys may be down.
    takeEvents();
    forgetTaken();
    thread_.start([this] { run(); });
}

void X11InputStream::listenToDevices() {
    if (!connection_->negotiateExtensions().hasRawInput)
        throw PlatformError(
            PlatformError::Kind::unsupported,
            "this X server lacks the extension XInput 2.1, without which no input can be recorded");
    deviceExtension_ = xcb_get_extension_data(*connection_, &xcb_input_id)->major_opcode;
    const struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } events{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
             XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE |
                 XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE};
    if (const std::uint8_t error = connection_->errorOf(
            xcb_input_xi_select_events_checked(*connection_, connection_->root(), 1, &events.head)))
        throw PlatformError(PlatformError::Kind::failed,
                            "the X server does not let input be recorded (" + nameOfX11Error(error) + ")");
}

void X11InputStream::run() {
    const BrokenPipeGuard guard;
    try {
        while (!wait()) {
            takeEvents();
            const bool isDue = clock_.now() >= nextLook_;
            if (isDue || positionTime_) look(isDue ? Look::due : Look::forButtons);
            deliver();
        }
        look(Look::last);
    } catch (const PlatformError&) {
        // The server is gone, and with it all input. The capture stream reports that.
    }
    deliver();
}

/// True when it is time to stop, false when there is something to do.
bool X11InputStream::wait() {
    connection_->checkAlive();
    return thread_.waitForInput(*connection_, nextLook_);
}

/// Takes all events that have happened, and asks where the pointer is until it has the place of each; not for
/// ever, as a slow server may send events faster than answers.
void X11InputStream::look(Look purpose) {
    double now = 0;
    std::optional<Point> place;
    constexpr int mostQuestions = 3;
    std::size_t placed = 0;
    for (int question = 0; question < mostQuestions && (placed < taken_.size() || !place); ++question) {
        now = clock_.now();
        place = askPointer();
        if (!place) return;
        for (; placed < taken_.size(); ++placed) taken_[placed].position = *place;
        takeEvents();  // which may be later than the answer
    }
    for (; placed < taken_.size(); ++placed) taken_[placed].position = *place;
    if (purpose != Look::forButtons) {
        keyboard_->repeatUntil(now, taken_);
        nextLook_ = now + 1 / looksPerSecond;
    }
    followPointer(*place, now, purpose);
}

/// Adds a move where the pointer is elsewhere, and also where it rests: when it has begun to, with its buttons,
/// just before it moves on, and at the end. Those that would come too soon after another wait for the next look.
void X11InputStream::followPointer(Point place, double now, Look purpose) {
    const bool hasMoved = place != pointer_;
    if (hasMoved && seenAt_ - addedAt_ > longestMove) addMove(std::max(seenAt_, deliveredAt_), pointer_);
    const double restsAt = arrivedAt_ + restDelay;
    const bool isRestDue = !hasMoved && addedAt_ < restsAt && (now >= restsAt || purpose == Look::last);
    if (hasMoved || isRestDue || positionTime_) {
        const double wanted = positionTime_.value_or(isRestDue ? std::min(now, restsAt) : now);
        const double time = std::max(wanted, deliveredAt_);
        if (time - addedAt_ >= 1 / looksPerSecond || (purpose == Look::last && hasMoved)) addMove(time, place);
    }
    if (place == pointer_) seenAt_ = now;
}

void X11InputStream::addMove(double time, Point place) {
    InputEvent& move = moves_.emplace_back();
    move.time = addedAt_ = time;
    move.position = place;
    if (pointer_ != place) arrivedAt_ = time;
    pointer_ = place;
}

std::optional<Point> X11InputStream::askPointer() {
    const auto reply =
        connection_->reply(&xcb_query_pointer_reply, xcb_query_pointer(*connection_, connection_->root()));
    if (!reply) return std::nullopt;
    return Point{reply->root_x / scale_, reply->root_y / scale_};
}

void X11InputStream::takeEvents() {
    while (const XcbEvent event = connection_->nextEvent()) {
        const int type = event->response_type & 0x7f;
        if (type == XCB_GE_GENERIC && event->pad0 == deviceExtension_) {
            xcb_input_raw_button_press_event_t raw{};  // raw key events have the same layout
            std::memcpy(&raw, event.get(), sizeof raw);
            take(raw);
        } else if (type == XCB_MAPPING_NOTIFY) {
            pointerMap_ = pointerMapOf(*connection_);  // changes of keys arrive as XKB events
        } else {
            keyboard_->take(*event);
        }
    }
}

void X11InputStream::take(const xcb_input_raw_button_press_event_t& event) {
    const double time = hostTimeOf(event.time, clock_.now());
    switch (event.event_type) {
        case XCB_INPUT_RAW_KEY_PRESS:
            keyboard_->press(static_cast<std::uint8_t>(event.detail), time, taken_);
            break;
        case XCB_INPUT_RAW_KEY_RELEASE:
            keyboard_->release(static_cast<std::uint8_t>(event.detail), time, taken_);
            break;
        case XCB_INPUT_RAW_BUTTON_PRESS:
            takeButton(time, buttonOf(event), true);
            break;
        case XCB_INPUT_RAW_BUTTON_RELEASE:
            takeButton(time, buttonOf(event), false);
            break;
        default:
            break;
    }
}

std::uint8_t X11InputStream::buttonOf(const xcb_input_raw_button_press_event_t& event) {
    // Asked again each time, as no event reports a change, but only once for a burst.
    auto map = deviceMaps_.find(event.sourceid);
    if (map == deviceMaps_.end())
        map = deviceMaps_.emplace(event.sourceid, deviceMapOf(*connection_, event.sourceid)).first;
    return pointerMap_[map->second[std::min<std::size_t>(event.detail, pointerMap_.size() - 1)]];
}

void X11InputStream::takeButton(double time, std::uint8_t button, bool isDown) {
    const bool isWheel = button >= wheelUp && button <= wheelRight;
    if (button == 0 || (isWheel && !isDown)) return;
    InputEvent& event = taken_.emplace_back();
    event.time = time;
    if (isWheel) {
        event.kind = InputEvent::Kind::scrolled;
        event.dx = button == wheelLeft ? 1 : button == wheelRight ? -1 : 0;
        event.dy = button == wheelUp ? 1 : button == wheelDown ? -1 : 0;
    } else {
        event.kind = InputEvent::Kind::buttonChanged;
        event.button = button == XCB_BUTTON_INDEX_1   ? MouseButton::left
                       : button == XCB_BUTTON_INDEX_3 ? MouseButton::right
                                                      : MouseButton::other;
        event.phase = isDown ? ClickPhase::down : ClickPhase::up;
    }
    if (!positionTime_) positionTime_ = time;
}

/// In the order of time.
void X11InputStream::deliver() {
    const auto hand = [this](const InputEvent& event) {
        deliveredAt_ = std::max(deliveredAt_, event.time);
        handler_(event);
    };
    auto move = moves_.begin();
    for (const InputEvent& event : taken_) {
        while (move != moves_.end() && move->time <= event.time) hand(*move++);
        hand(event);
    }
    std::for_each(move, moves_.end(), hand);
    forgetTaken();
}

void X11InputStream::forgetTaken() {
    moves_.clear();
    taken_.clear();
    deviceMaps_.clear();
    positionTime_.reset();
}

}  // namespace

std::unique_ptr<InputStream> makeX11InputStream(const std::string& displayName) {
    return std::make_unique<X11InputStream>(displayName);
}

}  // namespace lumenwhirl
