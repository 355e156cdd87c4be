#pragma once

#include <cstdint>

namespace lumenwhirl {

/// The captured area, a whole display or one window, in video pixels and in global screen points
/// (origin at the top-left of the main display, y down).
struct DisplayInfo {
    std::uint32_t id = 0;  // the display; for a window, the display that holds it
    std::int64_t pixelWidth = 0, pixelHeight = 0;
    std::int64_t pointWidth = 0, pointHeight = 0;
    double scaleFactor = 1;                       // pixels per point
    double globalOriginX = 0, globalOriginY = 0;  // points, the area's top-left corner
    bool operator==(const DisplayInfo&) const = default;
};

}  // namespace lumenwhirl
