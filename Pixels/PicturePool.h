#pragma once

#include "Pixels/Picture.h"

#include <cstddef>
#include <vector>

namespace lumenwhirl {

/// Reuses pictures once nobody else refers to them, so that a steady flow of frames allocates nothing. Keeps
/// pictures of one size and format at a time. One thread at a time.
class PicturePool {
public:
    /// How many pictures are kept at most: 32 of 3840x2160 in yuv420p8 take 400 MB, if so many are ever in use.
    static constexpr std::size_t mostKept = 32;

    /// A picture that nobody else refers to but this pool: it may be drawn on until it is handed on. Its pixels
    /// are uninitialised, or what it last held. Throws std::bad_alloc.
    [[nodiscard]] Picture take(int width, int height, PixelFormat format);

private:
    std::vector<Picture> pictures_;
};

}  // namespace lumenwhirl
