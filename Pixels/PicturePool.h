#pragma once

#include "Pixels/Picture.h"

#include <cstddef>
#include <vector>

namespace lumenwhirl {

/// Pictures that are used again once nobody else refers to them, so that a steady flow of frames allocates
/// nothing. Keeps pictures of one size and format at a time. One thread at a time.
class PicturePool {
public:
    /// Beyond these, pictures are not kept; 32 of 3840x2160 in yuv420p8 are 400 MB, if ever so many are in use.
    static constexpr std::size_t mostKept = 32;

    /// A picture that nobody else refers to but this pool: it may be drawn on until it is handed on. Its pixels
    /// are uninitialised, or what it last held. Throws std::bad_alloc.
    [[nodiscard]] Picture take(int width, int height, PixelFormat format);

private:
    std::vector<Picture> pictures_;
};

}  // namespace lumenwhirl
