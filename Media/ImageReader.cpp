#include "Media/ImageReader.h"

#include "Media/FFmpegHandles.h"
#include "Media/InputFile.h"
#include "Media/MediaError.h"
#include "Media/StreamDecoder.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace lumenwhirl {
namespace {

constexpr int largestSide = 16384;
constexpr std::int64_t mostPixels = std::int64_t{64} << 20;  // decoding takes ten bytes each

bool isFullRange(const AVFrame& frame) {
    constexpr std::array always{AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUVJ444P, AV_PIX_FMT_YUVJ440P,
                                AV_PIX_FMT_YUVJ411P};
    return rawNumber(frame.color_range) == AVCOL_RANGE_JPEG ||
           std::find(always.begin(), always.end(), frame.format) != always.end();
}

void premultiply(Image& image) {
    for (std::size_t i = 0; i < image.pixels.size(); i += 4) {
        const int alpha = image.pixels[i + 3];
        for (std::size_t c = i; c < i + 3; ++c)
            image.pixels[c] = static_cast<std::uint8_t>((image.pixels[c] * alpha + 127) / 255);
    }
}

void checkSize(int width, int height, const std::filesystem::path& file) {
    if (width > largestSide || height > largestSide || std::int64_t{width} * height > mostPixels)
        throw MediaError(MediaError::Kind::unsupported, file, "the image is too large");
}

Image converted(const AVFrame& frame, const std::filesystem::path& file) {
    Image image(frame.width, frame.height);
    const ScalerHandle scaler(sws_getContext(
        frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width, frame.height,
        AV_PIX_FMT_RGBA, SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr));
    constexpr int one = 1 << 16;
    // Images that do not say are BT.601 (JFIF 1.02, page 4); those that are RGB already ignore it.
    const int stated = rawNumber(frame.colorspace);
    const int matrix = stated == AVCOL_SPC_UNSPECIFIED ? SWS_CS_ITU601 : stated;
    if (scaler)
        sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(matrix), isFullRange(frame) ? 1 : 0,
                                 sws_getCoefficients(SWS_CS_ITU709), 1, 0, one, one);
    std::uint8_t* const planes[] = {image.pixels.data()};
    const int strides[] = {4 * frame.width};
    if (!scaler ||
        sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides) != frame.height)
        throw MediaError(MediaError::Kind::unsupported, file, "its pixel format is not supported");
    premultiply(image);
    return image;
}

}  // namespace

Image readImage(const std::filesystem::path& file) {
    InputFile input(file, AVMEDIA_TYPE_VIDEO, InputFile::Contents::image);
    AVStream* stream = input.firstStream(AVMEDIA_TYPE_VIDEO);
    if (!stream) throw MediaError(MediaError::Kind::cannotOpen, file, "no image");
    checkSize(stream->codecpar->width, stream->codecpar->height, file);
    StreamDecoder decoder(input, *stream);
    const FrameHandle frame = makeFrame();
    if (!decoder.receive(*frame)) throw MediaError(MediaError::Kind::damaged, file, "no image");
    checkSize(frame->width, frame->height, file);  // the decoder may have found another
    return converted(*frame, file);
}

}  // namespace lumenwhirl
