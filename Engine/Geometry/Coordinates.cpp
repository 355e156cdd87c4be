#include "Engine/Geometry/Coordinates.h"

namespace lumenwhirl::Coordinates {
namespace {

double clampedInto(double value, std::int64_t size) {
    if (!(value > 0)) return 0;  // or NaN
    const auto limit = static_cast<double>(size);
    return value > limit ? limit : value;
}

}  // namespace

Point globalPointToCapturedPixels(Point globalPoint, const DisplayInfo& display) {
    return {clampedInto((globalPoint.x - display.globalOriginX) * display.scaleFactor, display.pixelWidth),
            clampedInto((globalPoint.y - display.globalOriginY) * display.scaleFactor, display.pixelHeight)};
}

Point capturedPixelsToGlobalPoint(Point pixel, const DisplayInfo& display) {
    return {pixel.x / display.scaleFactor + display.globalOriginX,
            pixel.y / display.scaleFactor + display.globalOriginY};
}

}  // namespace lumenwhirl::Coordinates
