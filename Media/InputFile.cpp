#include "Media/InputFile.h"

#include "Media/MediaError.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <string_view>
#include <system_error>

namespace lumenwhirl {
namespace {

/// Containers that hold their own data, by libavformat's names. Playlists and the like are left out: opening a
/// file must open neither other files nor the network.
constexpr std::array<std::string_view, 17> movieFormats = {"mov,mp4,m4a,3gp,3g2,mj2",
                                                           "matroska,webm",
                                                           "avi",
                                                           "mpegts",
                                                           "mpeg",
                                                           "nut",
                                                           "ogg",
                                                           "wav",
                                                           "w64",
                                                           "caf",
                                                           "aiff",
                                                           "flac",
                                                           "mp3",
                                                           "aac",
                                                           "h264",
                                                           "hevc",
                                                           "yuv4mpegpipe"};

/// Formats of single images with what their files begin with. libavformat goes by a name's ending too, which would
/// open a drawing as slow as its author likes, or a numbered series.
struct ImageFormat {
    const char* name;
    std::string_view start;
    std::string_view atEight = {};
};
constexpr std::array<ImageFormat, 8> imageFormats{{{"png_pipe", "\x89PNG\r\n\x1A\n"},
                                                   {"jpeg_pipe", "\xFF\xD8\xFF"},
                                                   {"webp_pipe", "RIFF", "WEBP"},
                                                   {"gif", "GIF8"},
                                                   {"bmp_pipe", "BM"},
                                                   {"tiff_pipe", {"II*\0", 4}},
                                                   {"tiff_pipe", {"MM\0*", 4}},
                                                   {"ppm_pipe", "P6"}}};

/// Whether the chunks of a WebP, from byte 12 on, end where the file does. At a chunk of no possible size
/// libavcodec 59 ends the process.
bool hasWholeChunks(std::ifstream& webp) {
    constexpr std::streamoff header = 8;
    webp.clear();
    webp.seekg(0, std::ios::end);
    const std::streamoff size = webp.tellg();
    for (std::streamoff at = 12; at + header <= size;) {
        std::array<unsigned char, header> bytes{};
        webp.seekg(at);
        if (!webp.read(reinterpret_cast<char*>(bytes.data()), header)) return false;
        const std::streamoff length = bytes[4] | bytes[5] << 8 | bytes[6] << 16 | std::streamoff{bytes[7]} << 24;
        at += header + length + length % 2;
        if (at > size + 1) return false;  // a last byte that only fills up may be missing
    }
    return true;
}

/// By the content of the file; null if it is no image that is known. Throws MediaError (cannotOpen).
const AVInputFormat* imageFormatOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::array<char, 16> bytes{};
    stream.read(bytes.data(), bytes.size());
    const std::string_view start(bytes.data(), static_cast<std::size_t>(stream.gcount()));
    for (const ImageFormat& format : imageFormats) {
        if (!start.starts_with(format.start)) continue;
        if (format.atEight.empty()) return av_find_input_format(format.name);
        if (start.size() > 12 && start.substr(8).starts_with(format.atEight))
            return hasWholeChunks(stream) ? av_find_input_format(format.name) : nullptr;
    }
    return nullptr;
}

bool isMovieFormat(std::string_view name) {
    return std::find(movieFormats.begin(), movieFormats.end(), name) != movieFormats.end();
}

}  // namespace

InputFile::InputFile(std::filesystem::path file, AVMediaType wanted, Contents contents) : path_(std::move(file)) {
    // Opening a pipe would wait for somebody who writes to it.
    std::error_code ignored;
    const std::filesystem::file_status status = std::filesystem::status(path_, ignored);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        throw MediaError(MediaError::Kind::cannotOpen, path_, "is not a regular file");
    Dictionary options{{"protocol_whitelist", "file"}};
    const AVInputFormat* format = nullptr;  // to be found
    if (contents == Contents::image) {
        format = imageFormatOf(path_);
        if (!format && std::filesystem::exists(status))
            throw MediaError(MediaError::Kind::cannotOpen, path_, "not an image");
    } else {
        std::string names;
        for (const auto name : movieFormats) names.append(names.empty() ? "" : ",").append(name);
        options.set("format_whitelist", names);
    }

    AVFormatContext* opened = nullptr;
    const int result = avformat_open_input(&opened, urlOf(path_.string()).c_str(), format, options.address());
    context_.reset(opened);
    // EINVAL is how libavformat says that a format is not one of the list.
    if (result == AVERROR(EINVAL)) throw MediaError(MediaError::Kind::cannotOpen, path_, "not a media file");
    if (result < 0) throw MediaError(MediaError::Kind::cannotOpen, path_, "cannot open: " + reasonFor(result));
    if (!format && !isMovieFormat(context_->iformat->name))
        throw MediaError(MediaError::Kind::cannotOpen, path_, "not a media file");
    if (wanted != AVMEDIA_TYPE_UNKNOWN) {
        for (unsigned i = 0; i < context_->nb_streams; ++i) {
            if (context_->streams[i]->codecpar->codec_type != wanted)
                context_->streams[i]->discard = AVDISCARD_ALL;
        }
    }
    const int found = avformat_find_stream_info(context_.get(), nullptr);
    if (found < 0) throw MediaError(MediaError::Kind::cannotOpen, path_, "cannot open: " + reasonFor(found));
}

AVStream* InputFile::firstStream(AVMediaType type) const noexcept {
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        AVStream* stream = context_->streams[i];
        const bool isCover = (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        if (stream->codecpar->codec_type == type && !isCover) return stream;
    }
    return nullptr;
}

AVStream& InputFile::requiredStream(AVMediaType type) const {
    if (AVStream* stream = firstStream(type)) return *stream;
    if (type == AVMEDIA_TYPE_AUDIO) throw MediaError(MediaError::Kind::noAudioTrack, path_, "no audio track");
    throw MediaError(MediaError::Kind::noVideoTrack, path_, "no video track");
}

void InputFile::readOnly(const AVStream& stream) noexcept {
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        AVStream* other = context_->streams[i];
        other->discard = other == &stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

bool InputFile::read(AVPacket& packet) {
    for (;;) {
        av_packet_unref(&packet);
        const int result = av_read_frame(context_.get(), &packet);
        if (result == AVERROR(EAGAIN)) continue;
        if (result == AVERROR_EOF) break;
        if (result < 0) throw MediaError(MediaError::Kind::damaged, path_, "cannot read on: " + reasonFor(result));
        const AVStream* stream = context_->streams[packet.stream_index];
        if (stream->discard >= AVDISCARD_ALL) continue;
        if ((packet.flags & AV_PKT_FLAG_CORRUPT) != 0) {
            throw MediaError(MediaError::Kind::damaged, path_, "the file is cut short or damaged");
        }
        return true;
    }
    av_packet_unref(&packet);
    // Demuxers report read errors and a missing tail as the end.
    const int failure = context_->pb ? context_->pb->error : 0;
    if (failure < 0 && failure != AVERROR_EOF) {
        throw MediaError(MediaError::Kind::damaged, path_, "cannot read on: " + reasonFor(failure));
    }
    if (isCutShort()) {
        throw MediaError(MediaError::Kind::damaged, path_,
                         "the file is cut short: data its index promises is missing");
    }
    return false;
}

bool InputFile::isCutShort() const {
    const std::int64_t size = context_->pb ? avio_size(context_->pb) : -1;
    if (size < 0) return false;
    for (unsigned i = 0; i < context_->nb_streams; ++i) {
        AVStream* stream = context_->streams[i];
        if (stream->discard >= AVDISCARD_ALL) continue;
        for (int entry = 0; entry < avformat_index_get_entries_count(stream); ++entry) {
            const AVIndexEntry* sample = avformat_index_get_entry(stream, entry);
            if (sample && sample->pos > size - sample->size) return true;
        }
    }
    return false;
}

}  // namespace lumenwhirl
