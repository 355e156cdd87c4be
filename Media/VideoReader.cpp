#include "Media/VideoReader.h"

#include "Media/Fragments.h"
#include "Media/InputFile.h"
#include "Media/MediaError.h"
#include "Media/PixelBuffers.h"
#include "Media/StreamDecoder.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/common.h>
#include <libavutil/display.h>
}

namespace lumenwhirl {
namespace {

constexpr double latestTime = 1e9;   // seconds; as ticks of any time base it fits 64 bits
constexpr double longestFrame = 10;  // seconds, for frames without a time of their own

double nominalFrameRate(const AVStream& stream) {
    for (const AVRational rate : {stream.avg_frame_rate, stream.r_frame_rate}) {
        if (rate.num > 0 && rate.den > 0) return av_q2d(rate);
    }
    return 0;
}

/// The rate of the usual interval between frames, from an index that lists all of them: a screen that rests leaves
/// gaps, which an average takes for slow frames. 0 without two frames.
double usualFrameRate(AVStream& stream) {
    std::vector<std::int64_t> intervals;
    for (int i = 1; i < avformat_index_get_entries_count(&stream); ++i) {
        const std::int64_t before = avformat_index_get_entry(&stream, i - 1)->timestamp;
        const std::int64_t interval = av_sat_sub64(avformat_index_get_entry(&stream, i)->timestamp, before);
        if (interval > 0) intervals.push_back(interval);
    }
    if (intervals.empty()) return 0;
    const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
    std::nth_element(intervals.begin(), middle, intervals.end());
    const double median = static_cast<double>(*middle);
    double sum = 0, count = 0;  // of those near it: on a coarse clock they alternate, such as 16 and 17 ms
    for (const std::int64_t interval : intervals) {
        if (std::abs(static_cast<double>(interval) - median) > median / 4) continue;
        sum += static_cast<double>(interval);
        ++count;
    }
    return count / (sum * av_q2d(stream.time_base));
}

/// Of the last frame, in seconds; 0 if unknown.
double statedEnd(const AVFormatContext& file, const AVStream& stream) {
    // libavformat shortens a track's own duration where decoding times end earlier.
    if (file.nb_streams == 1 && file.duration > 0) return static_cast<double>(file.duration) / AV_TIME_BASE;
    if (stream.duration <= 0) return 0;
    const std::int64_t start = stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time;
    return static_cast<double>(av_sat_add64(start, stream.duration)) * av_q2d(stream.time_base);
}

VideoInfo describe(const InputFile& input, const AVStream& stream) {
    VideoInfo info;
    info.width = stream.codecpar->width & ~1;
    info.height = stream.codecpar->height & ~1;
    info.frameRate = nominalFrameRate(stream);
    const std::int64_t duration = input.context().duration;
    info.duration = duration > 0 ? static_cast<double>(duration) / AV_TIME_BASE : 0;
    info.timeBase = {stream.time_base.num, stream.time_base.den};
    info.hasAudio = input.firstStream(AVMEDIA_TYPE_AUDIO) != nullptr;
    return info;
}

/// The matrix with which to show the stream's pictures (9 integers), or null. FFmpeg 7.1 keeps it in the codec
/// parameters and deprecates the call that 5.1 has.
const std::int32_t* displayMatrix(const AVStream& stream) {
#if LIBAVFORMAT_VERSION_INT >= AV_VERSION_INT(60, 15, 100)
    const AVPacketSideData* data = av_packet_side_data_get(
        stream.codecpar->coded_side_data, stream.codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
    if (!data || data->size < 9 * sizeof(std::int32_t)) return nullptr;
    return reinterpret_cast<const std::int32_t*>(data->data);
#else
    std::size_t size = 0;
    const std::uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (!data || size < 9 * sizeof(std::int32_t)) return nullptr;
    return reinterpret_cast<const std::int32_t*>(data);
#endif
}

/// Whether pictures must be turned or mirrored to be shown; a matrix may also change nothing.
bool isTurned(const AVStream& stream) {
    const std::int32_t* matrix = displayMatrix(stream);
    return matrix && (matrix[1] != 0 || matrix[3] != 0 || matrix[0] < 0 || matrix[4] < 0);
}

/// Width to height of a pixel, as the file states it.
double pixelShape(const AVStream& stream) {
    for (const AVRational shape : {stream.sample_aspect_ratio, stream.codecpar->sample_aspect_ratio}) {
        if (shape.num > 0 && shape.den > 0) return av_q2d(shape);
    }
    return 1;
}

}  // namespace

struct VideoReader::State {
    explicit State(const std::filesystem::path& file)
        : input(file),
          decoder(input, input.requiredStream(AVMEDIA_TYPE_VIDEO)),
          info(describe(input, decoder.stream())),
          isIndexKnown(!fragmentsOf(file).isFragmented) {
        const AVStream& stream = decoder.stream();
        if (isTurned(stream)) {
            throw MediaError(MediaError::Kind::unsupported, file,
                             "the picture is stored turned; turn it upright first");
        }
        // Some encoders write what rounding a size left over; nobody sees one per cent.
        if (std::abs(pixelShape(stream) - 1) > 0.01) {
            throw MediaError(MediaError::Kind::unsupported, file,
                             "its pixels are not square; scale the picture to square ones first");
        }
        const int transfer = rawNumber(stream.codecpar->color_trc);
        if (transfer == AVCOL_TRC_SMPTE2084 || transfer == AVCOL_TRC_ARIB_STD_B67) {
            throw MediaError(MediaError::Kind::unsupported, file,
                             std::string("the picture is HDR (") +
                                 (transfer == AVCOL_TRC_SMPTE2084 ? "PQ" : "HLG") +
                                 "); convert it to BT.709 first");
        }
        if (info.width < 2 || info.height < 2) {
            throw MediaError(MediaError::Kind::unsupported, file, "the picture has no size");
        }
        const bool isMovie = std::string_view(input.context().iformat->name).starts_with("mov");
        info.isIndexed = isMovie && isIndexKnown;
        if (info.isIndexed) {
            if (const double usual = usualFrameRate(decoder.stream()); usual > 0) info.frameRate = usual;
        }
        if (isIndexKnown) info.end = std::min(statedEnd(input.context(), stream), latestTime);
        const double seconds = info.frameRate > 0 ? std::min(1 / info.frameRate, longestFrame) : 1.0 / 60;
        nominalTicks = std::max<std::int64_t>(1, std::llround(seconds / av_q2d(stream.time_base)));
    }

    [[nodiscard]] double timeOf(const AVFrame& frame) const noexcept {
        return static_cast<double>(frame.pts) * info.timeBase.numerator / info.timeBase.denominator;
    }
    [[nodiscard]] FrameHandle decode();
    [[nodiscard]] bool isAheadInThisGroup(double sourceTime) const;
    [[nodiscard]] FrameHandle restartBefore(double sourceTime);

    InputFile input;
    StreamDecoder decoder;
    VideoInfo info;
    FrameConverter converter;
    std::int64_t nominalTicks = 1;          // between frames, where the file does not say
    std::optional<std::int64_t> latestPts;  // of the frames decoded since the start or the last jump
    FrameHandle latestGiven;                // so that a seek to it need not decode it again
    std::deque<FrameHandle> waiting;        // decoded, to be given by the next calls: two at most
    bool isIndexKnown;                      // of the whole file; fragments are known only once they were read
};

/// The next decoded frame with its final time in `pts`; null at the end.
FrameHandle VideoReader::State::decode() {
    FrameHandle frame = makeFrame();
    if (!decoder.receive(*frame)) return nullptr;
    if ((frame->width & ~1) != info.width || (frame->height & ~1) != info.height) {
        throw MediaError(MediaError::Kind::unsupported, input.path(),
                         "the picture changes its size from " + std::to_string(info.width) + "x" +
                             std::to_string(info.height) + " to " + std::to_string(frame->width) + "x" +
                             std::to_string(frame->height));
    }
    // Frames without a time that makes sense, and times that do not ascend, follow at the nominal rate.
    const std::int64_t stamp = frame->best_effort_timestamp;
    const bool isTime = stamp != AV_NOPTS_VALUE &&
                        std::abs(static_cast<double>(stamp) * av_q2d(decoder.stream().time_base)) < latestTime;
    if (isTime && (!latestPts || stamp > *latestPts)) {
        frame->pts = stamp;
    } else {
        frame->pts = latestPts ? *latestPts + nominalTicks : 0;
    }
    latestPts = frame->pts;
    return frame;
}

/// Whether the frame at `sourceTime` comes after the one given last and before the next key frame.
bool VideoReader::State::isAheadInThisGroup(double sourceTime) const {
    if (!latestGiven || timeOf(*latestGiven) > sourceTime) return false;
    if (decoder.lastDecodeTime() == AV_NOPTS_VALUE) return false;
    AVStream& stream = decoder.stream();
    const auto target = static_cast<std::int64_t>(sourceTime / av_q2d(stream.time_base));
    const int index = av_index_search_timestamp(&stream, target, AVSEEK_FLAG_BACKWARD);
    const AVIndexEntry* keyFrame = index < 0 ? nullptr : avformat_index_get_entry(&stream, index);
    return keyFrame && keyFrame->timestamp <= decoder.lastDecodeTime();
}

/// Jumps to the newest key frame at or before `sourceTime` and gives the first frame from there on.
FrameHandle VideoReader::State::restartBefore(double sourceTime) {
    const AVStream& stream = decoder.stream();
    const double base = av_q2d(stream.time_base);
    const double start = stream.start_time == AV_NOPTS_VALUE ? 0 : static_cast<double>(stream.start_time) * base;
    // Files are searched by decoding time, which is before the presentation time; and frames shown before a key
    // frame may need what came before it. So a first frame that is too late calls for a jump to the key frame
    // before.
    double from = sourceTime, lead = 0.5;
    for (;;) {
        from = std::max(from, start - 1);
        const bool isStart = from <= start - 1;
        const bool isUntouched = !latestPts;  // also a file without any frame, where some formats cannot seek
        latestPts.reset();
        latestGiven.reset();
        auto target = static_cast<std::int64_t>(std::floor(from / base));
        // The division may fall a hair short of the tick whose time this is.
        if (static_cast<double>(target + 1) * info.timeBase.numerator / info.timeBase.denominator <= from)
            ++target;
        const bool found = decoder.seek(target);
        if (!found && isStart && !isUntouched &&
            !decoder.seek(stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time)) {
            throw MediaError(MediaError::Kind::unsupported, input.path(), "cannot seek in this file");
        }
        FrameHandle first = decode();
        if (isStart || (first && timeOf(*first) <= sourceTime)) return first;
        const std::int64_t landed = decoder.firstDecodeTime();
        if (landed != AV_NOPTS_VALUE && static_cast<double>(landed) * base < from) {
            from = static_cast<double>(landed - 1) * base;
        } else {
            from -= lead;
            lead *= 2;
        }
    }
}

VideoReader::VideoReader(const std::filesystem::path& file) : state_(std::make_unique<State>(file)) {}
VideoReader::~VideoReader() = default;
VideoReader::VideoReader(VideoReader&&) noexcept = default;
VideoReader& VideoReader::operator=(VideoReader&&) noexcept = default;

const VideoInfo& VideoReader::info() const noexcept {
    return state_->info;
}

std::optional<VideoFrame> VideoReader::next() {
    State& state = *state_;
    FrameHandle decoded;
    if (state.waiting.empty()) {
        decoded = state.decode();
    } else {
        decoded = std::move(state.waiting.front());
        state.waiting.pop_front();
    }
    if (!decoded) return std::nullopt;

    state.latestGiven.reset(av_frame_clone(decoded.get()));
    const std::int64_t pts = decoded->pts;
    const double time = state.timeOf(*decoded);
    std::optional<Picture> picture = state.converter.convert(std::move(decoded));
    if (!picture) {
        throw MediaError(MediaError::Kind::unsupported, state.input.path(),
                         "the pixel format cannot be converted");
    }
    return VideoFrame(std::move(*picture), pts, time);
}

void VideoReader::seek(double sourceTime, Seek which) {
    State& state = *state_;
    sourceTime = std::isnan(sourceTime) ? 0 : std::clamp(sourceTime, -latestTime, latestTime);
    if (which == Seek::keyFrame) {
        state.waiting.clear();
        if (!std::exchange(state.isIndexKnown, true)) state.decoder.learnIndex();
        if (FrameHandle first = state.restartBefore(sourceTime)) state.waiting.push_back(std::move(first));
        return;
    }
    FrameHandle newest;
    std::deque<FrameHandle> known;
    if (state.isAheadInThisGroup(sourceTime)) {
        newest = std::move(state.latestGiven);
        known = std::exchange(state.waiting, {});
    } else {
        state.waiting.clear();
        newest = state.restartBefore(sourceTime);
    }
    FrameHandle following;
    try {
        while (newest) {
            if (known.empty()) {
                following = state.decode();
            } else {
                following = std::move(known.front());
                known.pop_front();
            }
            if (!following || state.timeOf(*following) > sourceTime) break;
            newest = std::move(following);
        }
    } catch (const MediaError&) {
        // What follows cannot be read; the decoder reports it again after the frames before it were given.
    }
    if (newest) state.waiting.push_back(std::move(newest));
    if (following) state.waiting.push_back(std::move(following));
    for (auto& frame : known) state.waiting.push_back(std::move(frame));
}

}  // namespace lumenwhirl
