#include "Recorder/EventTap.h"

#include "Engine/Geometry/Coordinates.h"
#include "Recorder/Package/EventJournal.h"
#include "Recorder/Platform/PlatformError.h"

#include <algorithm>
#include <string>
#include <utility>

namespace lumenwhirl {
namespace {

// Two times that are exactly the interval apart may be closer once they have been rounded: after six days of
// running, a machine's host clock has steps of 1.2e-10 s.
constexpr double roundingOfTimes = 1e-6;

std::vector<std::string> namesOf(const Modifiers& modifiers) {
    std::vector<std::string> names;
    if (modifiers.command) names.emplace_back("cmd");
    if (modifiers.shift) names.emplace_back("shift");
    if (modifiers.option) names.emplace_back("option");
    if (modifiers.control) names.emplace_back("control");
    if (modifiers.function) names.emplace_back("fn");
    return names;
}

}  // namespace

EventTap::EventTap(const DisplayInfo& display, double startHostTime, double moveHz,
                   std::unique_ptr<InputStream> stream, EventJournal* journal,
                   const std::optional<Shortcut>& ignored)
    : scaleFactor_(display.scaleFactor),
      startHostTime_(startHostTime),
      moveMinInterval_(moveHz > 0 ? 1 / moveHz : 0),
      journal_(journal),
      ignored_(ignored),
      display_(display),
      stream_(std::move(stream)) {}

EventTap::~EventTap() {
    if (stream_) stream_->stop();
}

bool EventTap::start() {
    if (!stream_) return false;
    try {
        stream_->start([this](const InputEvent& event) { handle(event); });
        return true;
    } catch (const PlatformError&) {
        // A recording without cursor and keys is better than none; the permissions say why.
        return false;
    }
}

EventTap::Events EventTap::stop() {
    if (stream_) stream_->stop();
    const std::scoped_lock lock(mutex_);
    return events_;
}

void EventTap::setArea(Point origin, double scale) {
    const std::scoped_lock lock(mutex_);
    display_.globalOriginX = origin.x;
    display_.globalOriginY = origin.y;
    display_.scaleFactor = scaleFactor_ * scale;
}

void EventTap::handle(const InputEvent& event) {
    const double sinceStart = event.time - startHostTime_;
    if (!(sinceStart >= 0)) return;
    // Each device has its own stamps, so an event can be older than the one delivered before it.
    const double t = lastT_ = std::max(lastT_, sinceStart);
    const Point at = pixels(event.position);
    switch (event.kind) {
        case InputEvent::Kind::moved:
            keepMove(t, at);
            break;
        case InputEvent::Kind::buttonChanged:
            keep(events_.clicks, ClickEvent{t, at.x, at.y, event.button, event.phase});
            break;
        case InputEvent::Kind::scrolled:
            keep(events_.scroll, ScrollEvent{t, at.x, at.y, event.dx, event.dy});
            break;
        case InputEvent::Kind::keyDown:
            if (isIgnored(event)) break;
            keep(events_.keys,
                 KeyEvent{t, event.keyCode, event.characters, namesOf(event.modifiers), event.isRepeat});
            break;
    }
}

void EventTap::keepMove(double t, Point position) {
    if (t - lastMoveT_ < moveMinInterval_ - roundingOfTimes) return;
    lastMoveT_ = t;
    keep(events_.cursor, CursorSample{t, position.x, position.y});
}

bool EventTap::isIgnored(const InputEvent& event) const {
    return ignored_ && ignored_->keyCode == event.keyCode && ignored_->modifiers == event.modifiers;
}

Point EventTap::pixels(Point globalPoint) const {
    const std::scoped_lock lock(mutex_);
    return Coordinates::globalPointToCapturedPixels(globalPoint, display_);
}

template <class Event>
void EventTap::keep(std::vector<Event>& events, Event event) {
    // Not under the lock: a full disk may delay the writing.
    if (journal_) journal_->append(event);
    const std::scoped_lock lock(mutex_);
    events.push_back(std::move(event));
}

}  // namespace lumenwhirl
