#include "Media/Remuxer.h"

#include "Media/FFmpegHandles.h"
#include "Media/InputFile.h"
#include "Media/MediaError.h"
#include "Media/OutputFile.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <numeric>
#include <set>
#include <string>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace lumenwhirl::Remuxer {
namespace {

/// A track on its way from one file into another.
class CopiedTrack {
public:
    CopiedTrack(InputFile& input, AVStream& from, OutputFile& output)
        : input_(input), from_(from), output_(output), to_(output.addStream()) {
        input.readOnly(from);
        if (orOutOfMemory(avcodec_parameters_copy(to_.codecpar, from.codecpar)) < 0) {
            throw MediaError(MediaError::Kind::cannotWrite, output.path(), "cannot describe a track");
        }
        to_.time_base = from.time_base;
        to_.avg_frame_rate = from.avg_frame_rate;
        to_.sample_aspect_ratio = from.sample_aspect_ratio;
        to_.disposition = AV_DISPOSITION_DEFAULT;
        keepTag();
    }

    /// Reads the next packet; false at the end.
    [[nodiscard]] bool read(AVPacket& packet) { return input_.read(packet); }
    void write(AVPacket& packet) {
        packet.stream_index = to_.index;
        packet.pos = -1;
        av_packet_rescale_ts(&packet, from_.time_base, to_.time_base);
        output_.write(packet);
    }
    [[nodiscard]] const AVStream& source() const noexcept { return from_; }
    [[nodiscard]] const AVFormatContext& sourceFile() const noexcept { return input_.context(); }
    [[nodiscard]] AVRational timeBase() const noexcept { return from_.time_base; }

private:
    /// The codec's tag of the source where the container has it too, else the container's own.
    void keepTag() {
        AVCodecParameters& parameters = *to_.codecpar;
        const auto* tags = output_.context().oformat->codec_tag;
        if (parameters.codec_id == AV_CODEC_ID_HEVC) {
            parameters.codec_tag = MKTAG('h', 'v', 'c', '1');
        } else if (av_codec_get_id(tags, parameters.codec_tag) != parameters.codec_id) {
            parameters.codec_tag = 0;
        }
    }

    InputFile& input_;
    AVStream& from_;
    OutputFile& output_;
    AVStream& to_;
};

AVStream& streamOf(const InputFile& input, AVMediaType type, MediaError::Kind kind, const char* problem) {
    AVStream* stream = input.firstStream(type);
    if (!stream) throw MediaError(kind, input.path(), problem);
    return *stream;
}

/// Units a second of the movie's header in which neither track's times are rounded; 0 where none fits.
int movieTimescale(AVRational first, AVRational second) {
    const auto scale = std::lcm<std::int64_t, std::int64_t>(first.den, second.den);
    return scale <= std::numeric_limits<std::int32_t>::max() ? static_cast<int>(scale) : 0;
}

/// The most that the index of these tracks can take up, in bytes; empty where their files do not tell how many
/// packets there are.
std::optional<std::int64_t> indexRoom(const InputFile& video, const InputFile& sound, const CopiedTrack& picture,
                                      const CopiedTrack& audio) {
    constexpr std::int64_t fixed = 4096;    // all but the tables: some 1.6 kB
    constexpr std::int64_t perPacket = 48;  // stts 8, ctts 8, stss 4, stsz 4, stsc 12, co64 8, sdtp 1
    std::int64_t bytes = fixed;
    for (const auto& [input, track] : {std::pair(&video, &picture), std::pair(&sound, &audio)}) {
        if (std::string_view(input->context().iformat->name).substr(0, 3) != "mov") return std::nullopt;
        bytes += perPacket * avformat_index_get_entries_count(&track->source());
        bytes += track->source().codecpar->extradata_size;
    }
    return bytes < std::numeric_limits<std::int32_t>::max() ? std::optional(bytes) : std::nullopt;
}

/// When the packet is shown or heard.
std::int64_t startOf(const AVPacket& packet) noexcept {
    return packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
}

/// The picture's packets, each with the time it is shown as its duration. Demuxers give the time to the next
/// packet in decoding order, or nothing; the muxer needs the other for the end of the track.
class Pictures {
public:
    Pictures(CopiedTrack& track, std::optional<double> end)
        : track_(track), promisedEnd_(end ? std::llround(*end / av_q2d(track.timeBase())) : promisedEnd(track)) {}

    /// Writes the next packet, in decoding order; false at the end.
    [[nodiscard]] bool copyOne() {
        while (!isAtEnd_ && !isNextSettled()) {
            PacketHandle packet = makePacket();
            isAtEnd_ = !track_.read(*packet);
            if (isAtEnd_) break;
            if (packet->dts != AV_NOPTS_VALUE) lastDecodeTime_ = packet->dts;
            starts_.insert(startOf(*packet));
            waiting_.push_back(std::move(packet));
        }
        if (waiting_.empty()) return false;
        const PacketHandle packet = std::move(waiting_.front());
        waiting_.pop_front();
        packet->duration = durationOf(*packet);
        end_ = std::max(end_, startOf(*packet) + packet->duration);
        decodeTime_ = packet->dts;
        track_.write(*packet);
        forgetPast();
        return true;
    }

    /// Where the pictures written so far end; when they were to be decoded. In the source's ticks.
    [[nodiscard]] std::int64_t end() const noexcept { return end_; }
    [[nodiscard]] std::int64_t decodeTime() const noexcept { return decodeTime_; }

private:
    /// Where the file says that the pictures end. libavformat cuts a track's own length to that of its decoding
    /// times, which with uneven frames is less; the file's length is right where there is nothing but pictures.
    [[nodiscard]] static std::int64_t promisedEnd(const CopiedTrack& track) {
        const AVStream& stream = track.source();
        const AVFormatContext& file = track.sourceFile();
        if (file.nb_streams == 1 && file.duration > 0) {
            return av_rescale_q(file.duration, AVRational{1, AV_TIME_BASE}, stream.time_base);
        }
        if (stream.duration <= 0) return std::numeric_limits<std::int64_t>::min();
        return stream.duration + (stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time);
    }

    static constexpr std::size_t mostWaiting = 64;  // codecs reorder 16 at most; for files that claim otherwise

    /// Whether no packet still to come can be shown right after the first one waiting.
    [[nodiscard]] bool isNextSettled() const {
        if (waiting_.empty()) return false;
        if (waiting_.size() >= mostWaiting) return true;
        const auto following = starts_.upper_bound(startOf(*waiting_.front()));
        return following != starts_.end() && lastDecodeTime_ >= *following;
    }

    [[nodiscard]] std::int64_t durationOf(const AVPacket& packet) {
        const std::int64_t start = startOf(packet);
        const auto following = starts_.upper_bound(start);
        if (following != starts_.end()) return latestDuration_ = *following - start;
        if (promisedEnd_ > start) return promisedEnd_ - start;
        return latestDuration_ > 0 ? latestDuration_ : packet.duration;
    }

    void forgetPast() {
        if (waiting_.empty()) return;
        std::int64_t first = startOf(*waiting_.front());
        for (const auto& packet : waiting_) first = std::min(first, startOf(*packet));
        // One that is not read yet may still come right before any that is shown after the last decoding time.
        starts_.erase(starts_.begin(), starts_.lower_bound(std::min(first, lastDecodeTime_)));
    }

    CopiedTrack& track_;
    std::int64_t promisedEnd_;
    std::int64_t end_ = std::numeric_limits<std::int64_t>::min(), decodeTime_ = 0, latestDuration_ = 0;
    std::int64_t lastDecodeTime_ = std::numeric_limits<std::int64_t>::min();
    std::deque<PacketHandle> waiting_;
    std::set<std::int64_t> starts_;  // of the packets that are waiting, and of those shown after them
    bool isAtEnd_ = false;
};

/// The sound's packets up to a time.
class Sounds {
public:
    explicit Sounds(CopiedTrack& track) : track_(track), hasPacket_(track.read(*packet_)) {}

    /// Copies what begins before `end`, in ticks of `base`.
    void copyUntil(std::int64_t end, AVRational base) {
        while (hasPacket_ && av_compare_ts(startOf(*packet_), track_.timeBase(), end, base) < 0) copyOne();
    }

    /// The same for the end of it all: a packet across it is made shorter.
    void finishAt(std::int64_t end, AVRational base) {
        const std::int64_t last = av_rescale_q_rnd(end, base, track_.timeBase(), AV_ROUND_UP);
        while (hasPacket_ && startOf(*packet_) < last) {
            packet_->duration = std::min(packet_->duration, last - startOf(*packet_));
            copyOne();
        }
    }

private:
    void copyOne() {
        track_.write(*packet_);
        hasPacket_ = track_.read(*packet_);
    }

    CopiedTrack& track_;
    PacketHandle packet_ = makePacket();
    bool hasPacket_;
};

}  // namespace

void mux(const std::filesystem::path& video, const std::filesystem::path& sound,
         const std::filesystem::path& destination, std::optional<double> videoEnd, Container container) {
    InputFile videoInput(video, AVMEDIA_TYPE_VIDEO), soundInput(sound, AVMEDIA_TYPE_AUDIO);
    AVStream& videoStream =
        streamOf(videoInput, AVMEDIA_TYPE_VIDEO, MediaError::Kind::noVideoTrack, "no video track");
    AVStream& soundStream =
        streamOf(soundInput, AVMEDIA_TYPE_AUDIO, MediaError::Kind::noAudioTrack, "no sound track");

    OutputFile output(destination, formatName(container));
    CopiedTrack picture(videoInput, videoStream, output), audio(soundInput, soundStream, output);
    const AVRational base = picture.timeBase();
    // Where the index's size is bounded beforehand, room is left for it in front: moving all behind it in the end
    // would take twice as long.
    Dictionary options;
    if (const auto room = indexRoom(videoInput, soundInput, picture, audio)) {
        options.set("moov_size", std::to_string(*room));
    } else {
        options.set("movflags", "+faststart");
    }
    if (const int scale = movieTimescale(base, audio.timeBase()); scale > 0) {
        options.set("movie_timescale", std::to_string(scale));
    }
    output.start(options);

    // The sound follows the pictures' decoding times, which no picture's end comes before.
    Pictures pictures(picture, videoEnd);
    Sounds sounds(audio);
    while (pictures.copyOne()) sounds.copyUntil(pictures.decodeTime(), base);
    sounds.finishAt(pictures.end(), base);
    output.finish();
}

bool canCopySound(const std::filesystem::path& sound) {
    const InputFile input(sound, AVMEDIA_TYPE_AUDIO);
    switch (
        streamOf(input, AVMEDIA_TYPE_AUDIO, MediaError::Kind::noAudioTrack, "no sound track").codecpar->codec_id) {
        case AV_CODEC_ID_AAC:
        case AV_CODEC_ID_ALAC:
        case AV_CODEC_ID_MP3:
        case AV_CODEC_ID_AC3:
        case AV_CODEC_ID_EAC3:
            return true;
        default:
            return false;
    }
}

}  // namespace lumenwhirl::Remuxer
