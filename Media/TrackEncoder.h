#pragma once

#include "Media/FFmpegHandles.h"
#include "Media/OutputFile.h"

#include <filesystem>
#include <functional>

namespace lumenwhirl {

/// One track of a file that is being encoded: the codec, its stream in the file and the packet on its way there.
/// Times of frames and packets are in ticks of timeBase().
class TrackEncoder {
public:
    /// Called with each finished packet, which it may keep by moving its reference out.
    using Sink = std::function<void(AVPacket&)>;

    virtual ~TrackEncoder() = default;
    TrackEncoder(const TrackEncoder&) = delete;
    TrackEncoder& operator=(const TrackEncoder&) = delete;
    TrackEncoder(TrackEncoder&&) = default;
    TrackEncoder& operator=(TrackEncoder&&) = default;

    /// Finds the encoder by libavcodec's name. `file` is what errors name. Throws MediaError (unsupported) if the
    /// library lacks the encoder.
    TrackEncoder(const char* encoder, std::filesystem::path file);

    /// To be set up before open().
    [[nodiscard]] AVCodecContext& codec() const noexcept { return *codec_; }
    /// Throws MediaError (encoderFailed). Options that the encoder does not know stay in the dictionary.
    void open(Dictionary& options);

    /// Adds the track to a file, which must not be started yet and must outlive the track's use. May be called
    /// again for another file. Throws MediaError (encoderFailed).
    void addTo(OutputFile& output);
    /// The track in the file it was last added to.
    [[nodiscard]] AVStream& stream() const noexcept { return *stream_; }

    /// Encodes a frame, or with null what is left. Throws MediaError (encoderFailed), and what `sink` throws.
    void encode(const AVFrame* frame, const Sink& sink);
    /// Writes the packets to the file as they are. Throws MediaError (encoderFailed, cannotWrite).
    void encode(const AVFrame* frame);
    /// Turns a packet of this encoder into one of the file: its track, and times in ticks of stream().
    void assign(AVPacket& packet) const;

    [[nodiscard]] const std::filesystem::path& file() const noexcept { return file_; }
    [[nodiscard]] AVRational timeBase() const noexcept { return timeBase_; }
    /// The library's name of the encoder.
    [[nodiscard]] const char* name() const noexcept { return encoder_->name; }
    /// Whether it runs on a graphics card.
    [[nodiscard]] bool isHardware() const noexcept;

protected:
    /// As encode(), but returns a code of libavutil, negative on failure.
    [[nodiscard]] int tryEncode(const AVFrame* frame, const Sink& sink);
    /// Where frames have other times than the codec counts in.
    void setTimeBase(AVRational timeBase) noexcept { timeBase_ = timeBase; }
    /// What frames and packets pass through on their way. Codes of libavutil.
    [[nodiscard]] virtual int send(const AVFrame* frame) { return avcodec_send_frame(codec_.get(), frame); }
    [[nodiscard]] virtual int receive(AVPacket& packet) { return avcodec_receive_packet(codec_.get(), &packet); }

private:
    std::filesystem::path file_;
    const AVCodec* encoder_ = nullptr;  // a codec that failed to open has forgotten its own
    CodecHandle codec_;
    AVRational timeBase_{0, 1};
    PacketHandle packet_ = makePacket();
    OutputFile* output_ = nullptr;
    AVStream* stream_ = nullptr;
};

}  // namespace lumenwhirl
