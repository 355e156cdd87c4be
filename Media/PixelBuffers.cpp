#include "Media/PixelBuffers.h"

#include <new>
#include <utility>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace lumenwhirl {
namespace {

constexpr int rowAlignment = 64;           // bytes: a cache line, and the widest SIMD register
constexpr std::size_t mostKeptFrames = 8;  // 8 frames of 3840x2160 are 100 MB
constexpr int firstHighDefinitionHeight = 720;

/// Pixel formats that say "full range" by their name, and the same format without that.
std::pair<AVPixelFormat, bool> plainFormat(int format) {
    switch (format) {
        case AV_PIX_FMT_YUVJ420P:
            return {AV_PIX_FMT_YUV420P, true};
        case AV_PIX_FMT_YUVJ422P:
            return {AV_PIX_FMT_YUV422P, true};
        case AV_PIX_FMT_YUVJ444P:
            return {AV_PIX_FMT_YUV444P, true};
        case AV_PIX_FMT_YUVJ440P:
            return {AV_PIX_FMT_YUV440P, true};
        case AV_PIX_FMT_YUVJ411P:
            return {AV_PIX_FMT_YUV411P, true};
        default:
            return {static_cast<AVPixelFormat>(format), false};
    }
}

/// libswscale's matrix of the frame: its tag's, else the one usual for its height.
int matrixOf(const AVFrame& frame) {
    switch (frame.colorspace) {
        case AVCOL_SPC_BT709:
            return SWS_CS_ITU709;
        case AVCOL_SPC_FCC:
            return SWS_CS_FCC;
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
            return SWS_CS_ITU601;
        case AVCOL_SPC_SMPTE240M:
            return SWS_CS_SMPTE240M;
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            return SWS_CS_BT2020;
        default:
            return frame.height < firstHighDefinitionHeight ? SWS_CS_ITU601 : SWS_CS_ITU709;
    }
}

/// Where libswscale shall see the chroma samples, in 256ths of a luma sample; -513 leaves it to the format.
std::pair<int, int> chromaPosition(const AVFrame& frame, const AVPixFmtDescriptor& description) {
    constexpr int unset = -513;
    const int right = description.log2_chroma_w == 1 ? 0 : unset;
    const int down = description.log2_chroma_h == 1 ? 128 : unset;
    switch (frame.chroma_location) {
        case AVCHROMA_LOC_CENTER:
            return {right == unset ? unset : 128, down};
        case AVCHROMA_LOC_TOPLEFT:
            return {right, down == unset ? unset : 0};
        case AVCHROMA_LOC_TOP:
            return {right == unset ? unset : 128, down == unset ? unset : 0};
        case AVCHROMA_LOC_BOTTOMLEFT:
            return {right, down == unset ? unset : 256};
        case AVCHROMA_LOC_BOTTOM:
            return {right == unset ? unset : 128, down == unset ? unset : 256};
        default:
            return {right, down};
    }
}

}  // namespace

AVPixelFormat libraryFormat(PixelFormat format) noexcept {
    switch (format) {
        case PixelFormat::yuv420p8:
            return AV_PIX_FMT_YUV420P;
        case PixelFormat::yuv422p10:
            return AV_PIX_FMT_YUV422P10;
    }
    return AV_PIX_FMT_NONE;
}

FrameHandle allocatePixels(int width, int height, AVPixelFormat format) {
    FrameHandle frame = makeFrame();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    tagAsOurs(*frame);
    frame->chroma_location = AVCHROMA_LOC_LEFT;
    if (av_frame_get_buffer(frame.get(), rowAlignment) < 0) throw std::bad_alloc();
    return frame;
}

FrameHandle sharePixels(const AVFrame& frame) {
    FrameHandle shared = makeFrame();
    shared->format = frame.format;
    shared->width = frame.width;
    shared->height = frame.height;
    tagAsOurs(*shared);
    shared->chroma_location = AVCHROMA_LOC_LEFT;
    for (int i = 0; i < AV_NUM_DATA_POINTERS; ++i) {
        shared->data[i] = frame.data[i];
        shared->linesize[i] = frame.linesize[i];
        if (!frame.buf[i]) continue;
        shared->buf[i] = av_buffer_ref(frame.buf[i]);
        if (!shared->buf[i]) throw std::bad_alloc();
    }
    return shared;
}

void copyAsNv12(const AVFrame& from, AVFrame& to) {
    av_image_copy_plane(to.data[0], to.linesize[0], from.data[0], from.linesize[0], from.width, from.height);
    const int columns = from.width / 2, rows = from.height / 2;
    for (int y = 0; y < rows; ++y) {
        const std::uint8_t* blue = from.data[1] + std::ptrdiff_t{y} * from.linesize[1];
        const std::uint8_t* red = from.data[2] + std::ptrdiff_t{y} * from.linesize[2];
        std::uint8_t* both = to.data[1] + std::ptrdiff_t{y} * to.linesize[1];
        for (int x = 0; x < columns; ++x) {
            both[2 * x] = blue[x];
            both[2 * x + 1] = red[x];
        }
    }
}

std::shared_ptr<AVFrame> FrameConverter::convert(FrameHandle frame) {
    // An odd last row or column is left out: the pointers stay, so 4:2:0 chroma keeps its place.
    frame->width &= ~1;
    frame->height &= ~1;
    const bool isOurs = frame->format == AV_PIX_FMT_YUV420P && frame->color_range != AVCOL_RANGE_JPEG &&
                        matrixOf(*frame) == SWS_CS_ITU709;
    if (isOurs) return frame;
    if (!prepare(*frame)) return nullptr;
    auto converted = freeFrame(frame->width, frame->height);
    const int rows = sws_scale(scaler_.get(), frame->data, frame->linesize, 0, frame->height, converted->data,
                               converted->linesize);
    return rows == frame->height ? converted : nullptr;
}

std::shared_ptr<AVFrame> FrameConverter::freeFrame(int width, int height) {
    for (const auto& frame : pool_) {
        if (frame.use_count() == 1 && av_frame_is_writable(frame.get()) && frame->width == width &&
            frame->height == height) {
            return frame;
        }
    }
    std::shared_ptr<AVFrame> frame = allocatePixels(width, height, AV_PIX_FMT_YUV420P);
    if (pool_.size() < mostKeptFrames) pool_.push_back(frame);
    return frame;
}

bool FrameConverter::prepare(const AVFrame& frame) {
    const auto [format, isFullByName] = plainFormat(frame.format);
    const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
    if (!description || !sws_isSupportedInput(format)) return false;
    const bool isRgb = (description->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    const Source source{frame.width,
                        frame.height,
                        format,
                        matrixOf(frame),
                        isRgb || isFullByName || frame.color_range == AVCOL_RANGE_JPEG ? 1 : 0,
                        static_cast<int>(frame.chroma_location)};
    if (scaler_ && source == source_) return true;

    scaler_.reset(sws_alloc_context());
    if (!scaler_) throw std::bad_alloc();
    const auto [right, down] = chromaPosition(frame, *description);
    const auto set = [this](const char* name, std::int64_t value) {
        av_opt_set_int(scaler_.get(), name, value, 0);
    };
    set("srcw", frame.width);
    set("srch", frame.height);
    set("src_format", format);
    set("dstw", frame.width);
    set("dsth", frame.height);
    set("dst_format", AV_PIX_FMT_YUV420P);
    set("src_h_chr_pos", right);
    set("src_v_chr_pos", down);
    set("dst_h_chr_pos", 0);
    set("dst_v_chr_pos", 128);
    set("sws_flags", SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT);
    // Before the initialisation, so that a change of matrix is known when the steps are chosen.
    constexpr int one = 1 << 16;
    const auto setMatrices = [&] {
        return sws_setColorspaceDetails(scaler_.get(), sws_getCoefficients(source.matrix), source.fullRange,
                                        sws_getCoefficients(SWS_CS_ITU709), 0, 0, one, one);
    };
    setMatrices();
    if (sws_init_context(scaler_.get(), nullptr, nullptr) < 0 || setMatrices() < 0) {
        scaler_.reset();
        return false;
    }
    source_ = source;
    return true;
}

}  // namespace lumenwhirl
