#include "Media/PixelBuffers.h"

#include <memory>
#include <new>
#include <utility>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace lumenwhirl {
namespace {

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
    switch (rawNumber(frame.colorspace)) {
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
    switch (rawNumber(frame.chroma_location)) {
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
        case PixelFormat::nv12:
            return AV_PIX_FMT_NV12;
    }
    return AV_PIX_FMT_NONE;
}

FrameHandle frameAround(const Picture& picture) {
    FrameHandle frame = makeFrame();
    frame->format = libraryFormat(picture.format());
    frame->width = picture.width();
    frame->height = picture.height();
    tagAsOurs(*frame);
    frame->chroma_location = AVCHROMA_LOC_LEFT;
    const int planes = av_pix_fmt_count_planes(libraryFormat(picture.format()));
    for (int i = 0; i < planes; ++i) {
        frame->data[i] = const_cast<std::uint8_t*>(picture.plane(i));  // a read-only buffer, see below
        frame->linesize[i] = static_cast<int>(picture.stride(i));
    }
    // The frame's buffer is a copy of the picture, which goes when the last reference to the buffer does.
    auto owner = std::make_unique<Picture>(picture);
    const auto release = [](void* opaque, std::uint8_t*) { delete static_cast<Picture*>(opaque); };
    frame->buf[0] = av_buffer_create(frame->data[0], 1, release, owner.get(), AV_BUFFER_FLAG_READONLY);
    if (!frame->buf[0]) throw std::bad_alloc();
    static_cast<void>(owner.release());
    return frame;
}

void copyAsNv12(const AVFrame& from, Picture& to) {
    av_image_copy_plane(to.mutablePlane(0), static_cast<int>(to.stride(0)), from.data[0], from.linesize[0],
                        from.width, from.height);
    const int columns = from.width / 2, rows = from.height / 2;
    for (int y = 0; y < rows; ++y) {
        const std::uint8_t* blue = from.data[1] + std::ptrdiff_t{y} * from.linesize[1];
        const std::uint8_t* red = from.data[2] + std::ptrdiff_t{y} * from.linesize[2];
        std::uint8_t* both = to.mutablePlane(1) + y * to.stride(1);
        for (int x = 0; x < columns; ++x) {
            both[2 * x] = blue[x];
            both[2 * x + 1] = red[x];
        }
    }
}

std::optional<Picture> FrameConverter::convert(FrameHandle frame) {
    // An odd last row or column is left out: the pointers stay, so 4:2:0 chroma keeps its place.
    frame->width &= ~1;
    frame->height &= ~1;
    const bool isOurs = frame->format == AV_PIX_FMT_YUV420P && rawNumber(frame->color_range) != AVCOL_RANGE_JPEG &&
                        matrixOf(*frame) == SWS_CS_ITU709;
    if (isOurs) {
        const AVFrame& pixels = *frame;
        return Picture(pixels.width, pixels.height, PixelFormat::yuv420p8,
                       {pixels.data[0], pixels.data[1], pixels.data[2]},
                       {pixels.linesize[0], pixels.linesize[1], pixels.linesize[2]},
                       std::shared_ptr<const AVFrame>(std::move(frame)));
    }
    if (!prepare(*frame)) return std::nullopt;
    Picture converted = pool_.take(frame->width, frame->height, PixelFormat::yuv420p8);
    std::uint8_t* const planes[] = {converted.mutablePlane(0), converted.mutablePlane(1),
                                    converted.mutablePlane(2)};
    const int strides[] = {static_cast<int>(converted.stride(0)), static_cast<int>(converted.stride(1)),
                           static_cast<int>(converted.stride(2))};
    const int rows = sws_scale(scaler_.get(), frame->data, frame->linesize, 0, frame->height, planes, strides);
    if (rows != frame->height) return std::nullopt;
    return converted;
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
                        isRgb || isFullByName || rawNumber(frame.color_range) == AVCOL_RANGE_JPEG ? 1 : 0,
                        rawNumber(frame.chroma_location)};
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
