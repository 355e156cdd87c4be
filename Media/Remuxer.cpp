#include "Media/Remuxer.h"

#include "Media/CopiedSound.h"
#include "Media/CopiedTrack.h"
#include "Media/FFmpegHandles.h"
#include "Media/InputFile.h"
#include "Media/MediaError.h"
#include "Media/OutputFile.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace lumenwhirl::Remuxer {
namespace {

AVStream& streamOf(const InputFile& input, AVMediaType type, MediaError::Kind kind, const char* problem) {
    AVStream* stream = input.firstStream(type);
    if (!stream) throw MediaError(kind, input.path(), problem);
    return *stream;
}

/// The most that the index of these tracks can take up, in bytes; empty where their files do not tell how many
/// packets there are.
std::optional<std::int64_t> indexRoom(const CopiedTrack& picture, const CopiedTrack& sound) {
    constexpr std::int64_t fixed = 4096;    // all but the tables: some 1.6 kB
    constexpr std::int64_t perPacket = 48;  // stts 8, ctts 8, stss 4, stsz 4, stsc 12, co64 8, sdtp 1
    std::int64_t bytes = fixed;
    for (const CopiedTrack* track : {&picture, &sound}) {
        if (std::string_view(track->sourceFile().iformat->name).substr(0, 3) != "mov") return std::nullopt;
        bytes += perPacket * avformat_index_get_entries_count(&track->source());
        bytes += track->source().codecpar->extradata_size;
    }
    return bytes < std::numeric_limits<std::int32_t>::max() ? std::optional(bytes) : std::nullopt;
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

}  // namespace

void mux(const std::filesystem::path& video, const std::filesystem::path& sound,
         const std::filesystem::path& destination, std::optional<double> videoEnd, Container container) {
    InputFile input(video, AVMEDIA_TYPE_VIDEO);
    AVStream& stream = streamOf(input, AVMEDIA_TYPE_VIDEO, MediaError::Kind::noVideoTrack, "no video track");
    OutputFile output(destination, formatName(container));
    CopiedTrack picture(input, stream, output);
    CopiedSound copied(sound, output);
    // Where the index's size is bounded beforehand, room is left for it in front: moving all behind it in the end
    // would take twice as long.
    Dictionary options;
    if (const auto room = indexRoom(picture, copied.track())) {
        options.set("moov_size", std::to_string(*room));
    } else {
        options.set("movflags", "+faststart");
    }
    const AVRational base = picture.timeBase();
    setMovieTimescale(options, base, copied.track().timeBase());
    output.start(options);

    Pictures pictures(picture, videoEnd);
    while (pictures.copyOne()) copied.copyUntil(pictures.decodeTime(), base);
    copied.finishAt(pictures.end(), base);
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
