#include "Media/OutputFile.h"

#include "Files/Descriptor.h"
#include "Media/MediaError.h"

#include <cassert>
#include <cerrno>
#include <limits>
#include <new>
#include <numeric>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
#include <libavutil/opt.h>
}

namespace lumenwhirl {
const char* formatName(Container container) noexcept {
    return container == Container::mov ? "mov" : "mp4";
}

void setMovieTimescale(Dictionary& options, AVRational first, AVRational second) {
    const auto scale = std::lcm<std::int64_t, std::int64_t>(first.den, second.den);
    if (scale <= std::numeric_limits<std::int32_t>::max()) options.set("movie_timescale", std::to_string(scale));
}

OutputFile::OutputFile(std::filesystem::path file, const char* format, FileLayout layout)
    : path_(std::move(file)), layout_(layout) {
    const std::string url = urlOf(path_.string());
    AVFormatContext* context = nullptr;
    check(avformat_alloc_output_context2(&context, nullptr, format, url.c_str()), "cannot create");
    context_.reset(context);
}

OutputFile::~OutputFile() {
    if (context_ && context_->pb) avio_closep(&context_->pb);
    abandon();
}

void OutputFile::abandon() noexcept {
    if (!isOurs_) return;
    isOurs_ = false;
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path_, ignored)) return;  // the name may be that of a device
    if (flushedBytes_ > 0) {
        // Half a fragment may follow, if the disk was full.
        std::filesystem::resize_file(path_, static_cast<std::uintmax_t>(flushedBytes_), ignored);
    } else {
        std::filesystem::remove(path_, ignored);
    }
}

AVStream& OutputFile::addStream() {
    AVStream* stream = avformat_new_stream(context_.get(), nullptr);
    if (!stream) throw std::bad_alloc();
    return *stream;
}

void OutputFile::start(Dictionary& options) {
    switch (layout_) {
        case FileLayout::indexFirst:
            options.set("movflags", "+faststart");
            break;
        case FileLayout::indexLast:
            break;
        case FileLayout::fragmented:
            // Only flush() ends a fragment. The header waits for the first, or it could not tell where tracks
            // begin; a table of all fragments at the end, which would be kept in memory, is not needed to read
            // them.
            options.set("movflags", "+frag_custom+empty_moov+default_base_moof+delay_moov+skip_trailer");
            check(createNewFile(path_).isOpen() ? 0 : AVERROR(errno), "cannot create");
            isOurs_ = true;
            break;
    }
    // Apple's players take HEVC only with its parameter sets in the header, which this tag says.
    constexpr unsigned hvc1 = MKTAG('h', 'v', 'c', '1');
    const bool hasTag = av_codec_get_id(context_->oformat->codec_tag, hvc1) == AV_CODEC_ID_HEVC;
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        AVCodecParameters& track = *context_->streams[i]->codecpar;
        if (hasTag && track.codec_id == AV_CODEC_ID_HEVC) track.codec_tag = hvc1;
    }
    check(avio_open(&context_->pb, context_->url, AVIO_FLAG_WRITE), "cannot create");
    isOurs_ = true;
    check(avformat_write_header(context_.get(), options.address()), "cannot write");
}

void OutputFile::write(AVPacket& packet) {
    if (layout_ == FileLayout::fragmented) {
        check(av_write_frame(context_.get(), &packet), "cannot write");
        av_packet_unref(&packet);
    } else {
        check(av_interleaved_write_frame(context_.get(), &packet), "cannot write");
    }
    check(context_->pb->error, "cannot write");
}

void OutputFile::flush() {
    assert(layout_ == FileLayout::fragmented);
    // Before the first fragment, one more call writes the header.
    for (int i = flushedBytes_ == 0 ? 0 : 1; i < 2; ++i)
        check(av_write_frame(context_.get(), nullptr), "cannot write");
    avio_flush(context_->pb);
    check(context_->pb->error, "cannot write");
    flushedBytes_ = avio_tell(context_->pb);
    // The duration of a track's last packet was a guess: the next fragment must begin where its packets do, not
    // where this one ends.
    check(av_opt_set(context_->priv_data, "movflags", "+frag_discont", 0), "cannot write");
}

void OutputFile::finish() {
    if (layout_ == FileLayout::fragmented) flush();
    check(av_write_trailer(context_.get()), "cannot write");
    check(context_->pb->error, "cannot write");
    // Closing writes what is still buffered. The pointer is gone afterwards, so a failure cleans up here.
    const int closed = avio_closep(&context_->pb);
    if (closed < 0) abandon();
    check(closed, "cannot write");
    isOurs_ = false;
}

void OutputFile::check(int result, const char* action) const {
    if (orOutOfMemory(result) < 0) {
        const bool isFull = result == AVERROR(ENOSPC) || result == AVERROR(EDQUOT);
        throw MediaError(MediaError::Kind::cannotWrite, path_,
                         std::string(action) + ": " + reasonFor(result) + (isFull ? "; free some space" : ""));
    }
}

}  // namespace lumenwhirl
