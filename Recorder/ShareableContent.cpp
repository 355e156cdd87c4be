#include "Recorder/ShareableContent.h"

#include <cmath>

namespace lumenwhirl {
namespace {

std::int64_t rounded(double value) {
    return std::llround(value);  // halves away from zero
}

/// A display as windows see it.
struct Place {
    std::uint32_t id = 0;
    Rect bounds{};  // points
    double scale = 1;

    [[nodiscard]] bool contains(Point point) const noexcept {
        return point.x >= bounds.x && point.x < bounds.x + bounds.width && point.y >= bounds.y &&
               point.y < bounds.y + bounds.height;
    }
};

constexpr double scaleWithoutDisplays = 2;

std::vector<Place> placesOf(const std::vector<SystemDisplay>& displays) {
    std::vector<Place> places;
    for (const SystemDisplay& display : displays) {
        const bool isScaleKnown = display.modeSize && display.bounds.width > 0;
        places.push_back(
            {display.id, display.bounds, isScaleKnown ? display.modeSize->width / display.bounds.width : 1});
    }
    return places;
}

Place placeOf(const Rect& frame, const std::vector<Place>& places) {
    const Point centre{frame.x + frame.width / 2, frame.y + frame.height / 2};
    for (const Place& place : places)
        if (place.contains(centre)) return place;
    return places.empty() ? Place{.scale = scaleWithoutDisplays} : places.front();
}

}  // namespace

std::unique_ptr<CaptureStream> CaptureTarget::makeStream(ScreenSystem& screen) const {
    if (const auto* display = std::get_if<CaptureDisplay>(&choice_))
        return screen.captureDisplay(display->id, display->displayInfo);
    const auto& window = std::get<CaptureWindow>(choice_);
    return screen.captureWindow(window.id, window.displayInfo);
}

namespace ShareableContent {

std::vector<CaptureDisplay> displays(ScreenSystem& screen) {
    std::vector<CaptureDisplay> found;
    for (const SystemDisplay& display : screen.displays()) {
        DisplayInfo info{.id = display.id,
                         .pointWidth = rounded(display.bounds.width),
                         .pointHeight = rounded(display.bounds.height),
                         .globalOriginX = display.bounds.x,
                         .globalOriginY = display.bounds.y};
        info.pixelWidth = display.modeSize ? rounded(display.modeSize->width) : info.pointWidth;
        info.pixelHeight = display.modeSize ? rounded(display.modeSize->height) : info.pointHeight;
        info.scaleFactor =
            info.pointWidth < 1 ? 1 : static_cast<double>(info.pixelWidth) / static_cast<double>(info.pointWidth);
        found.push_back({.id = display.id,
                         .width = info.pixelWidth,
                         .height = info.pixelHeight,
                         .displayInfo = info,
                         .name = display.name,
                         .isPrimary = display.isPrimary});
    }
    return found;
}

std::vector<CaptureWindow> windows(ScreenSystem& screen, std::optional<std::string_view> excludedApplicationID,
                                   double minSize) {
    const std::vector<Place> places = placesOf(screen.displays());
    std::vector<CaptureWindow> found;
    for (const SystemWindow& window : screen.windows()) {
        const Rect& frame = window.frame;
        if (!window.isOnScreen || !(frame.width >= minSize) || !(frame.height >= minSize)) continue;
        if (excludedApplicationID && window.applicationID == *excludedApplicationID) continue;
        const Place place = placeOf(frame, places);
        const std::int64_t width = rounded(place.scale * frame.width),
                           height = rounded(place.scale * frame.height);
        if (width < 2 || height < 2) continue;
        found.push_back({.id = window.id,
                         .appName = window.applicationName,
                         .title = window.title,
                         .displayInfo = {.id = place.id,
                                         .pixelWidth = width / 2 * 2,
                                         .pixelHeight = height / 2 * 2,
                                         .pointWidth = rounded(frame.width),
                                         .pointHeight = rounded(frame.height),
                                         .scaleFactor = place.scale,
                                         .globalOriginX = frame.x,
                                         .globalOriginY = frame.y},
                         .containingDisplayID = place.id});
    }
    return found;
}

}  // namespace ShareableContent

}  // namespace lumenwhirl
