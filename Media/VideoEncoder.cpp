#include "Media/VideoEncoder.h"

#include "Media/MediaError.h"
#include "Media/PixelBuffers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <string>
#include <thread>

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace lumenwhirl {
namespace {

[[nodiscard]] const char* softwareName(VideoCodec codec) noexcept {
    switch (codec) {
        case VideoCodec::h264:
            return "libx264";
        case VideoCodec::hevc:
            return "libx265";
        case VideoCodec::prores:
            return "prores_ks";
    }
    return "";
}

void check(const VideoSettings& settings, const std::filesystem::path& file) {
    const auto fail = [&](const std::string& problem) {
        throw MediaError(MediaError::Kind::unsupported, file, problem);
    };
    constexpr int largestSide = 32768;
    const auto isSide = [](int side) { return side >= 2 && side <= largestSide && side % 2 == 0; };
    if (!isSide(settings.width) || !isSide(settings.height)) {
        fail("cannot encode frames of " + std::to_string(settings.width) + "x" + std::to_string(settings.height));
    }
    const auto isPositive = [](Rational value) { return value.numerator > 0 && value.denominator > 0; };
    if (!isPositive(settings.frameRate) || !isPositive(settings.timeBase))
        fail("needs a frame rate and a time base");
}

/// For x264 and x265 alike. A frame that is asked to be a key frame becomes one where reading can begin.
void setRealTime(Dictionary& options) {
    options.set("tune", "zerolatency");
    options.set("forced-idr", "1");
}

void setX264Options(Dictionary& options, const VideoSettings& settings) {
    options.set("preset", settings.software.preset);
    if (settings.software.bFrames >= 0) options.set("bf", std::to_string(settings.software.bFrames));
    if (!settings.software.subpixelMotion) options.set("subq", "0");
    if (!settings.software.weightedPrediction) options.set("weightp", "0");
    if (settings.software.lookahead > 0) {
        options.set("rc-lookahead", std::to_string(settings.software.lookahead));
        options.set("mbtree", "1");  // the use of looking ahead
    }
    if (settings.realTime) setRealTime(options);
    if (settings.quality) options.set("crf", std::to_string(*settings.quality));
}

void setX265Options(Dictionary& options, const VideoSettings& settings) {
    options.set("preset", settings.software.preset);
    std::string parameters = "log-level=none";  // x265 writes past libavutil's log
    if (settings.software.lookahead > 0)
        parameters += ":rc-lookahead=" + std::to_string(settings.software.lookahead);
    // x265 3.5 writes past its tables for narrower pictures.
    if (settings.width < 64) parameters += ":cutree=0";
    if (settings.software.threads > 0) parameters += ":pools=" + std::to_string(settings.software.threads);
    // Psychovisual tuning costs 7 to 10 % of the time with the fastest preset and does not bring the result closer
    // to the original.
    if (settings.realTime) parameters += ":psy-rd=0";
    if (settings.realTime) setRealTime(options);
    if (settings.quality) options.set("crf", std::to_string(*settings.quality));
    options.set("x265-params", parameters);
}

/// One quantiser for everything, which saves the encoder its search for one: held to ProRes 422's nominal rate
/// (309 Mbit/s at 1080p60), a page of dense text takes 800 ms of a core a frame, and the letters come out at 28
/// dB. Measured with this one at 1080p60, on one core of a busy machine:
///     a finished demo         151 Mbit/s   22 ms   luma 55.8 dB, SSIM 0.9988
///     text from edge to edge  836 Mbit/s   36 ms   luma 47.1 dB, SSIM 0.9991
/// 2 costs 214 and 1004 Mbit/s for 59.4 and 53.1 dB; 8 leaves the text at 41.3 dB and still takes 674 Mbit/s. No
/// quantiser brings such text near the nominal rate unharmed. prores_aw: 191 and 744 Mbit/s for 55.9 and 43.7 dB,
/// in a quarter more time.
constexpr int proresQuantiser = 4;
/// Each of its threads holds a frame and a packet of its own, 16 MB in all at 1080p.
constexpr int mostProresThreads = 8;

void setProresOptions(Dictionary& options, AVCodecContext& codec) {
    options.set("profile", "standard");
    codec.flags |= AV_CODEC_FLAG_QSCALE;
    codec.global_quality = proresQuantiser * FF_QP2LAMBDA;
    if (codec.thread_count == 0) {
        codec.thread_count =
            std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, mostProresThreads);
    }
}

/// Something like a screen to try an encoder with: rows of letters on a gradient, scrolling up.
void paintTrial(const Planes<std::uint8_t>& planes, int number) {
    const int width = planes.width(), height = planes.height();
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = planes[0].row(y);
        const auto line = static_cast<std::uint32_t>(y + 3 * number);
        for (int x = 0; x < width; ++x) {
            const std::uint32_t cell = (line / 16 * 4099 + static_cast<std::uint32_t>(x) / 8) * 2654435761U;
            const bool isInk =
                line % 16 < 10 && (cell >> (8 + (line / 2 + static_cast<std::uint32_t>(x) / 2) % 16) & 1U);
            row[x] = static_cast<std::uint8_t>(isInk ? 220 : 40 + 60 * x / width);
        }
    }
    for (int plane = 1; plane < 3; ++plane) {
        for (int y = 0; y < height / 2; ++y) {
            std::fill_n(planes[static_cast<std::size_t>(plane)].row(y), width / 2,
                        static_cast<std::uint8_t>(108 + 20 * plane + 10 * y / height));
        }
    }
}

}  // namespace

/// One way to an encoder on a graphics card.
struct VideoEncoder::Hardware {
    EncoderChoice choice;
    const char *h264Name, *hevcName;
    AVPixelFormat format;  // of the frames it takes
    const char* options;   // NAME=VALUE, separated by colons

    [[nodiscard]] const char* nameFor(VideoCodec codec) const noexcept {
        return codec == VideoCodec::hevc ? hevcName : h264Name;
    }

    /// In the order in which they are tried. NVENC first: where it works at all there is a card with its maker's
    /// driver. Quick Sync before VA-API, which uses less of the same hardware. Recent Intel chips have VA-API's
    /// low-power encoder alone.
    static const std::array<Hardware, 4> all;
};

const std::array<VideoEncoder::Hardware, 4> VideoEncoder::Hardware::all{
    Hardware{EncoderChoice::nvenc, "h264_nvenc", "hevc_nvenc", AV_PIX_FMT_YUV420P, "preset=p5:tune=hq:rc=vbr"},
    Hardware{EncoderChoice::qsv, "h264_qsv", "hevc_qsv", AV_PIX_FMT_NV12, ""},
    Hardware{EncoderChoice::vaapi, "h264_vaapi", "hevc_vaapi", AV_PIX_FMT_VAAPI, ""},
    Hardware{EncoderChoice::vaapi, "h264_vaapi", "hevc_vaapi", AV_PIX_FMT_VAAPI, "low_power=1"},
};

constexpr int h264High = 100;  // profile_idc, Rec. ITU-T H.264, A.2.4; libavcodec's name for it has changed

[[nodiscard]] std::int64_t ticksPerFrame(const VideoSettings& settings) {
    return std::max<std::int64_t>(1, std::llround(1 / (settings.frameRate.value() * settings.timeBase.value())));
}

std::int64_t FrameNumbers::numberFor(std::int64_t pts) {
    times_.push_back(pts);
    return first_ + static_cast<std::int64_t>(times_.size()) - 1;
}

bool FrameNumbers::restore(AVPacket& packet) {
    if (packet.dts == AV_NOPTS_VALUE) packet.dts = packet.pts;  // an encoder that does not reorder
    const std::int64_t last = first_ + static_cast<std::int64_t>(times_.size()) - 1;
    const auto isKnown = [&](std::int64_t number) { return number >= first_ && number <= last; };
    // Decoding starts before the first frame is shown, by as many frames as the encoder reorders.
    const bool isEarly = packet.dts < 0 && first_ == 0;
    if (!isKnown(packet.pts) || (!isEarly && !isKnown(packet.dts))) return false;
    const auto timeOf = [&](std::int64_t number) { return times_[static_cast<std::size_t>(number - first_)]; };
    const std::int64_t decoded = packet.dts;
    packet.pts = timeOf(packet.pts);
    packet.dts = isEarly ? times_.front() + decoded * nominalTicks_ : timeOf(decoded);
    // What follows is decoded later, and shown no earlier than it is decoded.
    const std::int64_t done = std::max<std::int64_t>(0, decoded - first_);
    times_.erase(times_.begin(), times_.begin() + static_cast<std::ptrdiff_t>(done));
    first_ += done;
    return true;
}

PixelFormat VideoEncoder::formatFor(VideoCodec codec) noexcept {
    return codec == VideoCodec::prores ? PixelFormat::yuv422p10 : PixelFormat::yuv420p8;
}

VideoEncoder VideoEncoder::make(const VideoSettings& settings, const std::filesystem::path& file) {
    check(settings, file);
    const EncoderChoice choice = settings.encoder;
    if (settings.codec == VideoCodec::prores) {
        if (isGraphicsCard(choice))
            throw MediaError(MediaError::Kind::unsupported, file, cannotMake(choice, "ProRes"));
        return inSoftware(settings, file);
    }
    std::string reason;
    for (const Hardware& hardware : Hardware::all) {
        if (choice != hardware.choice && choice != EncoderChoice::automatic) continue;
        try {
            return proven(settings, hardware, file);
        } catch (const MediaError& error) {  // most machines lack most of them
            if (reason.empty()) reason = error.problem();
        }
    }
    if (isGraphicsCard(choice)) {
        throw MediaError(MediaError::Kind::unsupported, file,
                         "the encoder " + std::string(nameOf(choice)) + " does not work on this machine (" +
                             reason + "); choose \"software\" or \"auto\"");
    }
    return inSoftware(settings, file);
}

/// Not open yet: what every encoder is told.
VideoEncoder::VideoEncoder(const char* encoder, const VideoSettings& settings, const std::filesystem::path& file)
    : TrackEncoder(encoder, file) {
    AVCodecContext& to = codec();
    to.width = settings.width;
    to.height = settings.height;
    to.pix_fmt = libraryFormat(formatFor(settings.codec));
    to.time_base = {settings.timeBase.numerator, settings.timeBase.denominator};
    to.framerate = {settings.frameRate.numerator, settings.frameRate.denominator};
    to.sample_aspect_ratio = {1, 1};
    tagAsOurs(to);
    to.chroma_sample_location = AVCHROMA_LOC_LEFT;
    to.field_order = AV_FIELD_PROGRESSIVE;
    to.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (settings.keyFrameInterval > 0) to.gop_size = settings.keyFrameInterval;
}

VideoEncoder VideoEncoder::inSoftware(const VideoSettings& settings, const std::filesystem::path& file) {
    VideoEncoder encoder(softwareName(settings.codec), settings, file);
    AVCodecContext& codec = encoder.codec();
    codec.thread_count = settings.software.threads;
    if (settings.bitRate > 0) codec.bit_rate = settings.bitRate;
    Dictionary options;
    switch (settings.codec) {
        case VideoCodec::h264:
            setX264Options(options, settings);
            break;
        case VideoCodec::hevc:
            setX265Options(options, settings);
            break;
        case VideoCodec::prores:
            setProresOptions(options, codec);
            break;
    }
    encoder.open(options);
    return encoder;
}

VideoEncoder::VideoEncoder(const VideoSettings& settings, const Hardware& hardware,
                           const std::filesystem::path& file)
    : VideoEncoder(hardware.nameFor(settings.codec), settings, file) {
    AVCodecContext& to = codec();
    numbers_.emplace(ticksPerFrame(settings));
    // FFmpeg 5.1 takes the numerator for one frame's duration, so it must be 1.
    to.time_base = {1, static_cast<int>(std::clamp(std::round(settings.frameRate.value()), 1.0, 1000.0))};
    uploadedAs_ = hardware.format;
    to.pix_fmt = hardware.format;
    if (hardware.format == AV_PIX_FMT_VAAPI) addSurfaces(settings);
    const int constantQuality = static_cast<int>(std::lround(settings.quality.value_or(23)));
    to.bit_rate = settings.bitRate;
    if (settings.bitRate > 0) {
        // Drivers of Quick Sync and VA-API keep to an average only with a limit above it.
        to.rc_max_rate = 2 * settings.bitRate;
    } else {
        to.global_quality = constantQuality;
    }
    Dictionary options;
    if (av_dict_parse_string(options.address(), hardware.options, "=", ":", 0) < 0) throw std::bad_alloc();
    if (settings.bitRate <= 0) options.set("cq", std::to_string(constantQuality));  // NVENC's own name for it
    // As software does; NVENC would take Main, and knows the profile by an option of its own.
    if (settings.codec == VideoCodec::h264) {
        to.profile = h264High;
        if (hardware.choice == EncoderChoice::nvenc) options.set("profile", "high");
    }
    if (settings.realTime) {
        // Each knows some of these; what it does not know is left in the dictionary.
        to.max_b_frames = 0;
        to.flags |= AV_CODEC_FLAG_LOW_DELAY;
        options.set("async_depth", "1");  // Quick Sync and VA-API
        options.set("delay", "0");        // NVENC, as the two below
        options.set("zerolatency", "1");
        options.set("tune", "ll");
        options.set("forced-idr", "1");
        options.set("forced_idr", "1");  // Quick Sync's spelling
    }
    open(options);
    setTimeBase({settings.timeBase.numerator, settings.timeBase.denominator});
    if (to.extradata_size <= 0) failToWork("gives no headers");
}

void VideoEncoder::failToWork(const std::string& reason) const {
    throw MediaError(MediaError::Kind::encoderFailed, file(), std::string(name()) + ": " + reason);
}

/// Adds a VA-API device and its pool of surfaces, from which the encoder reads.
void VideoEncoder::addSurfaces(const VideoSettings& settings) {
    constexpr int surfaces = 20;  // more than encoders reorder and work on; some drivers cannot add any later
    AVBufferRef* made = nullptr;
    int result = av_hwdevice_ctx_create(&made, AV_HWDEVICE_TYPE_VAAPI, nullptr, nullptr, 0);
    const BufferHandle device(made);
    if (result < 0) failToWork("no device: " + reasonFor(result));
    const BufferHandle pool(av_hwframe_ctx_alloc(device.get()));
    if (!pool) throw std::bad_alloc();
    auto& description = *reinterpret_cast<AVHWFramesContext*>(pool->data);
    description.format = AV_PIX_FMT_VAAPI;
    description.sw_format = AV_PIX_FMT_NV12;
    description.width = settings.width;
    description.height = settings.height;
    description.initial_pool_size = surfaces;
    result = av_hwframe_ctx_init(pool.get());
    if (result < 0) failToWork("no surfaces: " + reasonFor(result));
    codec().hw_frames_ctx = av_buffer_ref(pool.get());
    if (!codec().hw_frames_ctx) throw std::bad_alloc();
}

/// The encoder, after one like it has encoded a few frames. Names and even opened encoders prove nothing: there
/// are drivers that fail at the first frame.
VideoEncoder VideoEncoder::proven(const VideoSettings& settings, const Hardware& hardware,
                                  const std::filesystem::path& file) {
    {
        constexpr int trialFrames = 8;
        VideoEncoder trial(settings, hardware, file);
        int packets = 0;
        for (int i = 0; i <= trialFrames; ++i) {
            FrameHandle frame;
            if (i < trialFrames) {
                Picture painted(settings.width, settings.height, PixelFormat::yuv420p8);
                paintTrial(painted.mutablePlanes(), i);
                frame = frameAround(painted);
                frame->pts = i * ticksPerFrame(settings);
            }
            const int result =
                trial.tryEncode(frame.get(), [&](const AVPacket& packet) { packets += packet.size > 0 ? 1 : 0; });
            if (result < 0) trial.failToWork(reasonFor(result));
        }
        if (packets != trialFrames) trial.failToWork("loses frames");
    }  // closed before the next is opened: cards limit how many there are at once
    return {settings, hardware, file};
}

int VideoEncoder::send(const AVFrame* frame) {
    if (!frame || !numbers_) return TrackEncoder::send(frame);
    int result = 0;
    const FrameHandle own = forHardware(*frame, result);
    if (result < 0) return result;
    own->pts = numbers_->numberFor(frame->pts);
    own->pict_type = frame->pict_type;
    return TrackEncoder::send(own.get());
}

int VideoEncoder::receive(AVPacket& packet) {
    const int result = TrackEncoder::receive(packet);
    if (result < 0 || !numbers_) return result;
    return numbers_->restore(packet) ? result : AVERROR_INVALIDDATA;
}

/// The frame in the form and the memory that the encoder reads it from.
FrameHandle VideoEncoder::forHardware(const AVFrame& frame, int& result) {
    if (uploadedAs_ == AV_PIX_FMT_YUV420P) {
        FrameHandle shared(av_frame_clone(&frame));
        if (!shared) throw std::bad_alloc();
        return shared;
    }
    Picture picture = staging_.take(codec().width, codec().height, PixelFormat::nv12);
    copyAsNv12(frame, picture);
    FrameHandle interleaved = frameAround(picture);
    if (uploadedAs_ == AV_PIX_FMT_NV12) return interleaved;
    FrameHandle surface = makeFrame();
    result = av_hwframe_get_buffer(codec().hw_frames_ctx, surface.get(), 0);
    if (result < 0) return surface;
    result = av_hwframe_transfer_data(surface.get(), interleaved.get(), 0);
    tagAsOurs(*surface);
    surface->chroma_location = AVCHROMA_LOC_LEFT;
    return surface;
}

}  // namespace lumenwhirl
