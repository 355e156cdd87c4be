#pragma once

#include <algorithm>

namespace lumenwhirl {

/// How a picture of a window that has been resized lies in a file of the size it had at first: at the top left;
/// 1:1 where it fits, with black right and below of it; else made smaller, its aspect kept, until it does. What
/// was recorded at a point of the picture is in the file at that point times this. Sizes in pixels, above 0.
[[nodiscard]] inline double placementScale(int pictureWidth, int pictureHeight, int fileWidth, int fileHeight) {
    return std::min(
        {1.0, static_cast<double>(fileWidth) / pictureWidth, static_cast<double>(fileHeight) / pictureHeight});
}

}  // namespace lumenwhirl
