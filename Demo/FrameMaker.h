#pragma once

#include "Demo/CairoHandles.h"
#include "Pixels/Picture.h"
#include "Pixels/PicturePool.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace lumenwhirl::demo {

/// Turns a Cairo picture into video frames and converts only what changed. Sizes even. Not shared between threads.
class FrameMaker {
public:
    FrameMaker(int width, int height);
    /// `surface`: RGB24 of the maker's size; `changed`: the pixels that differ from the last call's, all of them
    /// at the first. The frame is the last one again if nothing changed.
    [[nodiscard]] Picture make(cairo_surface_t* surface, const cairo_region_t* changed);

private:
    struct Plane {
        int width = 0, height = 0;
        std::vector<std::uint8_t> samples;
        [[nodiscard]] std::uint8_t* row(int y) {
            return samples.data() + static_cast<std::size_t>(width) * static_cast<std::size_t>(y);
        }
    };
    void convert(cairo_surface_t* surface, cairo_rectangle_int_t area);

    int width_, height_;
    std::array<Plane, 3> planes_;
    PicturePool pool_;
    std::optional<Picture> latest_;
};

}  // namespace lumenwhirl::demo
