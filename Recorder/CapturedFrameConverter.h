#pragma once

#include "Media/PictureScaler.h"
#include "Media/VideoFrame.h"
#include "Recorder/Platform/CaptureStream.h"

namespace lumenwhirl {

/// Makes encoders' pictures of captured ones, laid as placementScale() says; where the picture has an odd side,
/// its last column or row is repeated. One thread at a time.
class CapturedFrameConverter {
public:
    /// Fills `out`, of PixelFormat::yuv420p8. Throws std::bad_alloc.
    void convert(const CapturedFrame& frame, VideoFrame& out);

private:
    PictureScaler scaler_;
};

}  // namespace lumenwhirl
