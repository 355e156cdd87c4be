#include "Media/Remuxer.h"

#include "Files/AtomicFile.h"
#include "Media/CopiedTrack.h"
#include "Media/FFmpegHandles.h"
#include "Media/Fragments.h"
#include "Media/InputFile.h"
#include "Media/MediaError.h"
#include "Media/OutputFile.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <deque>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace lumenwhirl::Remuxer {
namespace {

/// The most bytes that the index of so many packets can take up; empty if larger than in any file of ours.
std::optional<std::int64_t> indexRoom(std::int64_t packets, std::int64_t extradata) {
    constexpr std::int64_t fixed = 4096;    // all but the tables: about 1.6 kB
    constexpr std::int64_t perPacket = 48;  // stts 8, ctts 8, stss 4, stsz 4, stsc 12, co64 8, sdtp 1
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    if (packets > most / perPacket || extradata > most) return std::nullopt;
    const std::int64_t bytes = fixed + packets * perPacket + extradata;
    return bytes < most ? std::optional(bytes) : std::nullopt;
}

/// Room for the index of both tracks; empty if their files do not tell how many packets there are.
std::optional<std::int64_t> indexRoom(const CopiedTrack& videoTrack, const CopiedTrack& audio) {
    std::int64_t packets = 0, extradata = 0;
    for (const CopiedTrack* track : {&videoTrack, &audio}) {
        if (std::string_view(track->sourceFile().iformat->name).substr(0, 3) != "mov") return std::nullopt;
        if (track->isFragmented()) return std::nullopt;  // it tells only once it has been read
        packets += avformat_index_get_entries_count(&track->source());
        extradata += track->source().codecpar->extradata_size;
    }
    return indexRoom(packets, extradata);
}

/// Reserves room for the index in front, if known: to move everything behind it in the end takes twice as long.
void putIndexFirst(Dictionary& options, std::optional<std::int64_t> room) {
    if (room) {
        options.set("moov_size", std::to_string(*room));
    } else {
        options.set("movflags", "+faststart");
    }
}

/// Copies the video's packets, each with a duration of as long as it is shown. Demuxers give the time to the next
/// packet in decoding order, or nothing; the muxer needs the other for the end of the track.
class CopiedVideo {
public:
    static constexpr std::int64_t unknown = std::numeric_limits<std::int64_t>::min();
    [[nodiscard]] static std::int64_t ticksOf(const CopiedTrack& track, double seconds) {
        return std::llround(seconds / av_q2d(track.timeBase()));
    }
    /// When the video ends as the file states it. libavformat shortens a track's own duration to that of its
    /// decoding times, which with uneven frames is less; the file's duration is right if it holds nothing but the
    /// video. That of a fragmented file is a guess.
    [[nodiscard]] static std::int64_t promisedEnd(const CopiedTrack& track) {
        const AVStream& stream = track.source();
        const AVFormatContext& file = track.sourceFile();
        if (track.isFragmented()) return unknown;
        if (file.nb_streams == 1 && file.duration > 0) {
            return av_rescale_q(file.duration, AVRational{1, AV_TIME_BASE}, stream.time_base);
        }
        if (stream.duration <= 0) return unknown;
        return stream.duration + (stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time);
    }

    /// `end`: of the last frame, in ticks, or unknown; then it lasts `lastDuration`, or if that is 0 as long as
    /// the frame before.
    CopiedVideo(CopiedTrack& track, std::int64_t end, std::int64_t lastDuration = 0)
        : track_(track), promisedEnd_(end), lastDuration_(lastDuration) {}

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

    /// When the frames written so far end, and the decoding time of the last one. In the source's ticks.
    [[nodiscard]] std::int64_t end() const noexcept { return end_; }
    [[nodiscard]] std::int64_t decodeTime() const noexcept { return decodeTime_; }

private:
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
        if (lastDuration_ > 0) return lastDuration_;
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
    std::int64_t promisedEnd_, lastDuration_;
    std::int64_t end_ = unknown, decodeTime_ = 0, latestDuration_ = 0;
    std::int64_t lastDecodeTime_ = std::numeric_limits<std::int64_t>::min();
    std::deque<PacketHandle> waiting_;
    std::set<std::int64_t> starts_;  // of the packets that are waiting, and of those shown after them
    bool isAtEnd_ = false;
};

MediaError nothingRecorded(const std::filesystem::path& file) {
    return {MediaError::Kind::damaged, file, "nothing was recorded"};
}

/// Writes the whole fragments of `file` as a plain file with its index in front.
void writePlain(const std::filesystem::path& file, const Fragments& fragments, double lastFrame,
                const std::filesystem::path& destination) {
    InputFile input(file);
    AVStream* const stream = input.firstStream(AVMEDIA_TYPE_VIDEO);
    OutputFile output(destination, formatName(Container::mp4));
    std::optional<CopiedTrack> videoTrack;
    std::optional<CopiedAudio> audio;
    std::int64_t extradata = 0;
    AVRational base{1, 1};
    Dictionary options;
    if (stream) {
        videoTrack.emplace(input, *stream, output);
        base = videoTrack->timeBase();
        extradata += stream->codecpar->extradata_size;
    }
    if (input.firstStream(AVMEDIA_TYPE_AUDIO)) {
        audio.emplace(file, output);
        extradata += audio->track().source().codecpar->extradata_size;
    }
    if (!videoTrack && !audio) throw nothingRecorded(file);
    putIndexFirst(options, indexRoom(fragments.packets, extradata));
    setMovieTimescale(options, base, audio ? audio->track().timeBase() : base);
    output.start(options);

    if (videoTrack) {
        CopiedVideo copiedVideo(*videoTrack, CopiedVideo::unknown, CopiedVideo::ticksOf(*videoTrack, lastFrame));
        bool hasFrames = false;
        while (copiedVideo.copyOne()) {
            hasFrames = true;
            if (audio) audio->copyUntil(copiedVideo.decodeTime(), base);
        }
        if (!hasFrames) throw nothingRecorded(file);
    }
    if (audio) audio->copyUntil(std::numeric_limits<std::int64_t>::max(), base);
    output.finish();
}

}  // namespace

void mux(const std::filesystem::path& video, const std::filesystem::path& audio,
         const std::filesystem::path& destination, std::optional<double> videoEnd, Container container) {
    InputFile input(video, AVMEDIA_TYPE_VIDEO);
    AVStream& stream = input.requiredStream(AVMEDIA_TYPE_VIDEO);
    OutputFile output(destination, formatName(container));
    CopiedTrack videoTrack(input, stream, output);
    CopiedAudio copied(audio, output);
    Dictionary options;
    putIndexFirst(options, indexRoom(videoTrack, copied.track()));
    const AVRational base = videoTrack.timeBase();
    setMovieTimescale(options, base, copied.track().timeBase());
    output.start(options);

    CopiedVideo copiedVideo(
        videoTrack, videoEnd ? CopiedVideo::ticksOf(videoTrack, *videoEnd) : CopiedVideo::promisedEnd(videoTrack));
    while (copiedVideo.copyOne()) copied.copyUntil(copiedVideo.decodeTime(), base);
    copied.finishAt(copiedVideo.end(), base);
    output.finish();
}

void complete(const std::filesystem::path& file, double lastFrame) {
    std::error_code unknownSize;
    const auto size = static_cast<std::int64_t>(std::filesystem::file_size(file, unknownSize));
    const Fragments fragments = fragmentsOf(file);
    if (!unknownSize && !fragments.hasIndex) throw nothingRecorded(file);
    if (!fragments.isFragmented) {
        const InputFile isPlain(file);
        return;
    }
    if (size > fragments.wholeBytes) {
        std::error_code failure;
        std::filesystem::resize_file(file, static_cast<std::uintmax_t>(fragments.wholeBytes), failure);
        if (failure) throw MediaError(MediaError::Kind::cannotWrite, file, "cannot write: " + failure.message());
    }
    if (fragments.packets == 0) throw nothingRecorded(file);

    try {
        AtomicFile plain(file, AtomicFile::Access::owner);
        writePlain(file, fragments, lastFrame, plain.path());
        plain.commit(AtomicFile::Durability::content);
    } catch (const MediaError& error) {
        if (!AtomicFile::isPathOfOne(error.file())) throw;
        throw MediaError(error.kind(), file, error.problem());
    } catch (const FileError& error) {
        throw MediaError(MediaError::Kind::cannotWrite, error.file(), error.problem());
    }
}

bool canCopyAudio(const std::filesystem::path& audio) {
    const InputFile input(audio, AVMEDIA_TYPE_AUDIO);
    switch (input.requiredStream(AVMEDIA_TYPE_AUDIO).codecpar->codec_id) {
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
