#pragma once

#include "Compositor/RowPairs.h"
#include "Compositor/StyledCanvas.h"
#include "Pixels/Image.h"
#include "Pixels/ImageResampler.h"
#include "Pixels/Kernels/Kernels.h"
#include "Pixels/Picture.h"

namespace lumenwhirl {

/// A piece of artwork in video planes with coverage, ready to be laid over a frame pixel by pixel.
template <class Sample>
class OverlayTile {
public:
    /// `image` is at canvas resolution; sizes even.
    void assign(const Image& image);
    /// From resampled artwork of an even size; reuses memory.
    void assign(const ImageResampler& pixels, int width, int height);

    /// Source-over at an opacity of 0...1, its top-left corner at even (x, y), only where `canvas` has video, and
    /// on those rows alone.
    void draw(const StyledCanvas<Sample>& canvas, const Kernels& kernels, int x, int y, double opacity,
              const RowPairs& wanted, const Planes<Sample>& out) const;

private:
    void fit(int width, int height);
    Picture color_;     // premultiplied
    Picture coverage_;  // the luma plane's, and in both chroma planes theirs
};

}  // namespace lumenwhirl
