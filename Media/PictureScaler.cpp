#include "Media/PictureScaler.h"

#include "Media/FFmpegHandles.h"
#include "Media/PixelBuffers.h"

#include <new>

namespace lumenwhirl {

struct PictureScaler::State {
    ScalerHandle scaler;
    FrameHandle result;
};

PictureScaler::PictureScaler() : state_(std::make_unique<State>()) {}
PictureScaler::~PictureScaler() = default;
PictureScaler::PictureScaler(PictureScaler&&) noexcept = default;
PictureScaler& PictureScaler::operator=(PictureScaler&&) noexcept = default;

PictureScaler::Pixels PictureScaler::scale(const Pixels& from, int width, int height) {
    constexpr AVPixelFormat format = AV_PIX_FMT_BGR0;
    // Keeps what it has where the sizes are the same.
    state_->scaler.reset(sws_getCachedContext(state_->scaler.release(), from.width, from.height, format, width,
                                              height, format, SWS_AREA | SWS_ACCURATE_RND, nullptr, nullptr,
                                              nullptr));
    if (!state_->scaler) throw std::bad_alloc();
    if (!state_->result || state_->result->width != width || state_->result->height != height)
        state_->result = allocatePixels(width, height, format);
    AVFrame& result = *state_->result;
    const std::uint8_t* const rows[] = {from.data};
    const int strides[] = {static_cast<int>(from.stride)};
    if (sws_scale(state_->scaler.get(), rows, strides, 0, from.height, result.data, result.linesize) < 0)
        throw std::bad_alloc();
    return {result.data[0], result.linesize[0], width, height};
}

}  // namespace lumenwhirl
