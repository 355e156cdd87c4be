#pragma once

#include "Pixels/Picture.h"
#include "Pixels/PicturePool.h"

#include <cairo.h>

#include <optional>

namespace lumenwhirl::demo {

/// Turns a Cairo picture into video frames and converts only what changed. Sizes even. Not shared between
/// threads.
class FrameMaker {
public:
    FrameMaker(int width, int height);
    /// `surface`: RGB24 of the maker's size; `changed`: the pixels that differ from the last call's, all of them
    /// at the first. The frame is the last one again if nothing changed.
    [[nodiscard]] Picture make(cairo_surface_t* surface, const cairo_region_t* changed);

private:
    void convert(cairo_surface_t* surface, cairo_rectangle_int_t area);

    Picture picture_;  // always complete; copied to the frames
    PicturePool pool_;
    std::optional<Picture> latest_;
};

}  // namespace lumenwhirl::demo
