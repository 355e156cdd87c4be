#include "Media/VideoEncoder.h"

#include "Media/MediaError.h"
#include "Media/PixelBuffers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <stdexcept>
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

/// What every encoder is told. Null when the library lacks it.
[[nodiscard]] CodecHandle describedEncoder(const char* name, const VideoSettings& settings) {
    const AVCodec* encoder = avcodec_find_encoder_by_name(name);
    if (!encoder) return nullptr;
    CodecHandle codec(avcodec_alloc_context3(encoder));
    if (!codec) throw std::bad_alloc();
    codec->width = settings.width;
    codec->height = settings.height;
    codec->pix_fmt = libraryFormat(VideoEncoder::formatFor(settings.codec));
    codec->time_base = {settings.timeBase.numerator, settings.timeBase.denominator};
    codec->framerate = {settings.frameRate.numerator, settings.frameRate.denominator};
    codec->sample_aspect_ratio = {1, 1};
    tagAsOurs(*codec);
    codec->chroma_sample_location = AVCHROMA_LOC_LEFT;
    codec->field_order = AV_FIELD_PROGRESSIVE;
    codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    codec->log_level_offset = AV_LOG_TRACE;  // x264 would print its statistics
    if (settings.keyFrameInterval > 0) codec->gop_size = settings.keyFrameInterval;
    return codec;
}

/// Of x264 and x265 alike. A picture that is asked to be a key frame is one where reading can begin.
void setRealTime(Dictionary& options) {
    options.set("tune", "zerolatency");
    options.set("forced-idr", "1");
}

void setX264Options(Dictionary& options, const VideoSettings& settings) {
    options.set("preset", settings.speed);
    if (settings.bFrames >= 0) options.set("bf", std::to_string(settings.bFrames));
    if (!settings.subpixelMotion) options.set("subq", "0");
    if (!settings.weightedPrediction) options.set("weightp", "0");
    if (settings.lookahead > 0) {
        options.set("rc-lookahead", std::to_string(settings.lookahead));
        options.set("mbtree", "1");  // what looking ahead is for
    }
    if (settings.realTime) setRealTime(options);
    if (settings.quality) options.set("crf", std::to_string(*settings.quality));
}

void setX265Options(Dictionary& options, const VideoSettings& settings) {
    options.set("preset", settings.speed);
    std::string parameters = "log-level=none";  // x265 writes past libavutil's log
    if (settings.lookahead > 0) parameters += ":rc-lookahead=" + std::to_string(settings.lookahead);
    // x265 3.5 writes past its tables for pictures narrower than that.
    if (settings.width < 64) parameters += ":cutree=0";
    if (settings.threads > 0) parameters += ":pools=" + std::to_string(settings.threads);
    // What pleases the eye costs 7 to 10 % of the time with the fastest preset, and brings nothing nearer to the
    // original.
    if (settings.realTime) parameters += ":psy-rd=0";
    if (settings.realTime) setRealTime(options);
    if (settings.quality) options.set("crf", std::to_string(*settings.quality));
    options.set("x265-params", parameters);
}

/// One quantiser for all, which spares the encoder its search for one: held to ProRes 422's nominal rate (309
/// Mbit/s at 1080p60), a page of dense text takes 800 ms of a core a frame, and the letters come out at 28 dB.
/// Measured with this one at 1080p60, of one core on a busy machine:
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

/// Something like a screen to try an encoder with: rows of letters on a slope of light, moving up.
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
    /// driver. Quick Sync before VA-API, which drives the same hardware with fewer of its means. Recent chips of
    /// Intel's have VA-API's low-power encoder alone.
    static const std::array<Hardware, 4> all;
};

const std::array<VideoEncoder::Hardware, 4> VideoEncoder::Hardware::all{
    Hardware{EncoderChoice::nvenc, "h264_nvenc", "hevc_nvenc", AV_PIX_FMT_YUV420P, "preset=p5:tune=hq:rc=vbr"},
    Hardware{EncoderChoice::qsv, "h264_qsv", "hevc_qsv", AV_PIX_FMT_NV12, ""},
    Hardware{EncoderChoice::vaapi, "h264_vaapi", "hevc_vaapi", AV_PIX_FMT_VAAPI, ""},
    Hardware{EncoderChoice::vaapi, "h264_vaapi", "hevc_vaapi", AV_PIX_FMT_VAAPI, "low_power=1"},
};

constexpr int h264High = 100;  // profile_idc, Rec. ITU-T H.264, A.2.4; libavcodec's name for it has changed

/// Why a hardware encoder does not work.
class VideoEncoder::Failure : public std::runtime_error {
public:
    using runtime_error::runtime_error;
    Failure(const char* encoder, int result) : runtime_error(std::string(encoder) + ": " + reasonFor(result)) {}
};

PixelFormat VideoEncoder::formatFor(VideoCodec codec) noexcept {
    return codec == VideoCodec::prores ? PixelFormat::yuv422p10 : PixelFormat::yuv420p8;
}

VideoEncoder::VideoEncoder(const VideoSettings& settings, const std::filesystem::path& file) {
    const EncoderChoice choice = settings.encoder;
    const bool isNamed = choice != EncoderChoice::automatic && choice != EncoderChoice::software;
    if (settings.codec == VideoCodec::prores) {
        if (isNamed) {
            throw MediaError(MediaError::Kind::unsupported, file,
                             "the encoder " + std::string(nameOf(choice)) +
                                 " cannot make ProRes; choose \"software\" or \"auto\"");
        }
        openSoftware(settings, file);
        return;
    }
    std::string reason;
    for (const Hardware& hardware : Hardware::all) {
        if (choice != hardware.choice && choice != EncoderChoice::automatic) continue;
        try {
            *this = proven(settings, hardware);
            return;
        } catch (const Failure& failure) {  // most machines lack most of them
            if (reason.empty()) reason = failure.what();
        }
    }
    if (isNamed) {
        throw MediaError(MediaError::Kind::unsupported, file,
                         "the encoder " + std::string(nameOf(choice)) + " does not work on this machine (" +
                             reason + "); choose \"software\" or \"auto\"");
    }
    openSoftware(settings, file);
}

void VideoEncoder::openSoftware(const VideoSettings& settings, const std::filesystem::path& file) {
    const char* name = softwareName(settings.codec);
    codec_ = describedEncoder(name, settings);
    if (!codec_) {
        throw MediaError(MediaError::Kind::unsupported, file, std::string("this FFmpeg has no encoder ") + name);
    }
    codec_->thread_count = settings.threads;
    if (settings.bitRate > 0) codec_->bit_rate = settings.bitRate;
    Dictionary options;
    switch (settings.codec) {
        case VideoCodec::h264:
            setX264Options(options, settings);
            break;
        case VideoCodec::hevc:
            setX265Options(options, settings);
            break;
        case VideoCodec::prores:
            setProresOptions(options, *codec_);
            break;
    }
    const int result = orOutOfMemory(avcodec_open2(codec_.get(), codec_->codec, options.address()));
    if (result < 0) {
        throw MediaError(MediaError::Kind::encoderFailed, file,
                         std::string("cannot start ") + name + " at " + std::to_string(settings.width) + "x" +
                             std::to_string(settings.height) + ": " + reasonFor(result));
    }
}

/// Throws Failure. Results of drivers are never taken for this process's memory running out: they say so of the
/// card's, and when it encodes for too many already.
VideoEncoder::VideoEncoder(const VideoSettings& settings, const Hardware& hardware) {
    const char* name = hardware.nameFor(settings.codec);
    codec_ = describedEncoder(name, settings);
    if (!codec_) throw Failure(std::string("this FFmpeg has no encoder ") + name);
    const double fps = settings.frameRate.value();
    numbers_.emplace(std::max<std::int64_t>(1, std::llround(1 / (fps * settings.timeBase.value()))));
    // FFmpeg 5.1 takes the numerator for one frame's duration, so it must be 1.
    codec_->time_base = {1, static_cast<int>(std::clamp(std::round(fps), 1.0, 1000.0))};
    uploadedAs_ = hardware.format;
    codec_->pix_fmt = hardware.format;
    if (hardware.format == AV_PIX_FMT_VAAPI) addSurfaces(settings);
    const int constantQuality = static_cast<int>(std::lround(settings.quality.value_or(23)));
    codec_->bit_rate = settings.bitRate;
    if (settings.bitRate > 0) {
        // Drivers of Quick Sync and VA-API keep to an average only with a limit above it.
        codec_->rc_max_rate = 2 * settings.bitRate;
    } else {
        codec_->global_quality = constantQuality;
    }
    Dictionary options;
    int result = av_dict_parse_string(options.address(), hardware.options, "=", ":", 0);
    if (settings.bitRate <= 0) options.set("cq", std::to_string(constantQuality));  // NVENC's own name for it
    // As software does; NVENC would take Main, and knows the profile by an option of its own.
    if (settings.codec == VideoCodec::h264) {
        codec_->profile = h264High;
        if (hardware.choice == EncoderChoice::nvenc) options.set("profile", "high");
    }
    if (settings.realTime) {
        // Each knows some of these; what it does not know is left in the dictionary.
        codec_->max_b_frames = 0;
        codec_->flags |= AV_CODEC_FLAG_LOW_DELAY;
        options.set("async_depth", "1");  // Quick Sync and VA-API
        options.set("delay", "0");        // NVENC, as the two below
        options.set("zerolatency", "1");
        options.set("tune", "ll");
        options.set("forced-idr", "1");
        options.set("forced_idr", "1");  // Quick Sync's spelling
    }
    if (result >= 0) result = avcodec_open2(codec_.get(), codec_->codec, options.address());
    if (result < 0) throw Failure(name, result);
    if (codec_->extradata_size <= 0) throw Failure(std::string(name) + ": gives no headers");
}

/// A device of VA-API and its pool of surfaces, for the encoder to read from.
void VideoEncoder::addSurfaces(const VideoSettings& settings) {
    constexpr int surfaces = 20;  // what encoders reorder and work on, with room; some drivers cannot add any
    AVBufferRef* made = nullptr;
    int result = av_hwdevice_ctx_create(&made, AV_HWDEVICE_TYPE_VAAPI, nullptr, nullptr, 0);
    const BufferHandle device(made);
    if (result < 0) throw Failure("no device of VA-API: " + reasonFor(result));
    const BufferHandle pool(av_hwframe_ctx_alloc(device.get()));
    if (!pool) throw std::bad_alloc();
    auto& description = *reinterpret_cast<AVHWFramesContext*>(pool->data);
    description.format = AV_PIX_FMT_VAAPI;
    description.sw_format = AV_PIX_FMT_NV12;
    description.width = settings.width;
    description.height = settings.height;
    description.initial_pool_size = surfaces;
    result = av_hwframe_ctx_init(pool.get());
    if (result < 0) throw Failure("no surfaces of VA-API: " + reasonFor(result));
    codec_->hw_frames_ctx = av_buffer_ref(pool.get());
    if (!codec_->hw_frames_ctx) throw std::bad_alloc();
}

/// The encoder, after one like it has encoded a few pictures. Names and even opened encoders prove nothing: there
/// are drivers that fail at the first frame. Throws Failure.
VideoEncoder VideoEncoder::proven(const VideoSettings& settings, const Hardware& hardware) {
    constexpr int trialFrames = 8;
    VideoEncoder trial(settings, hardware);
    const auto check = [&](int result) {
        if (result < 0 && result != AVERROR(EAGAIN) && result != AVERROR_EOF) throw Failure(trial.name(), result);
        return result;
    };
    const std::int64_t ticks =
        std::max<std::int64_t>(1, std::llround(1 / (settings.frameRate.value() * settings.timeBase.value())));
    int packets = 0;
    const PacketHandle packet = makePacket();
    for (int i = 0; i <= trialFrames; ++i) {
        if (i < trialFrames) {
            Picture painted(settings.width, settings.height, PixelFormat::yuv420p8);
            paintTrial(painted.mutablePlanes(), i);
            const FrameHandle picture = frameAround(painted);
            picture->pts = i * ticks;
            check(trial.send(picture.get()));
        } else {
            check(trial.send(nullptr));
        }
        while (check(trial.receive(*packet)) >= 0) packets += packet->size > 0 ? 1 : 0;
    }
    if (packets != trialFrames) throw Failure(std::string(trial.name()) + ": loses frames");
    trial.codec_.reset();  // before the next: cards limit how many there are at once
    return {settings, hardware};
}

int VideoEncoder::describe(AVCodecParameters& parameters) const {
    return avcodec_parameters_from_context(&parameters, codec_.get());
}

int VideoEncoder::send(const AVFrame* frame) {
    if (!frame || !isHardware()) return avcodec_send_frame(codec_.get(), frame);
    int result = 0;
    const FrameHandle own = forHardware(*frame, result);
    if (result < 0) return result;
    own->pts = numbers_->numberFor(frame->pts);
    own->pict_type = frame->pict_type;
    return avcodec_send_frame(codec_.get(), own.get());
}

int VideoEncoder::receive(AVPacket& packet) {
    const int result = avcodec_receive_packet(codec_.get(), &packet);
    if (result < 0 || !isHardware()) return result;
    return numbers_->restore(packet) ? result : AVERROR_INVALIDDATA;
}

/// The picture in the form and the memory that the encoder takes it from.
FrameHandle VideoEncoder::forHardware(const AVFrame& frame, int& result) {
    if (uploadedAs_ == AV_PIX_FMT_YUV420P) {
        FrameHandle shared(av_frame_clone(&frame));
        if (!shared) throw std::bad_alloc();
        return shared;
    }
    Picture picture = staging_.take(codec_->width, codec_->height, PixelFormat::nv12);
    copyAsNv12(frame, picture);
    FrameHandle interleaved = frameAround(picture);
    if (uploadedAs_ == AV_PIX_FMT_NV12) return interleaved;
    FrameHandle surface = makeFrame();
    result = av_hwframe_get_buffer(codec_->hw_frames_ctx, surface.get(), 0);
    if (result < 0) return surface;
    result = av_hwframe_transfer_data(surface.get(), interleaved.get(), 0);
    tagAsOurs(*surface);
    surface->chroma_location = AVCHROMA_LOC_LEFT;
    return surface;
}

}  // namespace lumenwhirl
