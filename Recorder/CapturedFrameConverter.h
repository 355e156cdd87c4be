#pragma once

#include "Pixels/Picture.h"
#include "Pixels/PicturePool.h"
#include "Pixels/PlaneResampler.h"
#include "Recorder/Platform/CaptureStream.h"

namespace lumenwhirl {

/// Makes pictures for encoders of captured ones, laid as placementScale() says; where the captured picture has an
/// odd side, its last column or row is repeated. One thread at a time.
class CapturedFrameConverter {
public:
    /// Fills `out`, of PixelFormat::yuv420p8. Throws std::bad_alloc.
    void convert(const CapturedFrame& frame, Picture& out);

private:
    PicturePool pool_;  // of captured pictures that must be scaled down
    PictureResampler resampler_;
};

}  // namespace lumenwhirl
