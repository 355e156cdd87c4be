#pragma once

#include <algorithm>

namespace lumenwhirl {

/// How much of a side of a picture a file shows: all of it, but for the last column or row of an odd side, for
/// which files of video, whose sides are even, may lack the room.
[[nodiscard]] inline int shownSide(int pictureSide, int fileSide) {
    return pictureSide == fileSide + 1 ? fileSide : pictureSide;
}

/// How a picture of a window that has been resized lies in a file of the size it had at first: at the top left;
/// 1:1 where it fits, with black right and below of it; else made smaller, its aspect kept, until it does. What
/// was recorded at a point of the picture is in the file at that point times this. Sizes in pixels, above 0.
[[nodiscard]] inline double placementScale(int pictureWidth, int pictureHeight, int fileWidth, int fileHeight) {
    return std::min({1.0, static_cast<double>(fileWidth) / shownSide(pictureWidth, fileWidth),
                     static_cast<double>(fileHeight) / shownSide(pictureHeight, fileHeight)});
}

}  // namespace lumenwhirl
