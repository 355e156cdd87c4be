#include "Exporter/ExportErrors.h"
#include "Exporter/ExportTask.h"
#include "Exporter/FramePipeline.h"
#include "Exporter/PreparedAudio.h"
#include "Exporter/SourceFrames.h"
#include "Files/AtomicFile.h"
#include "Files/FileError.h"
#include "Media/Remuxer.h"
#include "Media/VideoWriter.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>

namespace lumenwhirl::Exporter {
namespace {

namespace fs = std::filesystem;

Container containerOf(Preset preset) {
    return preset == Preset::prores ? Container::mov : Container::mp4;
}

PixelFormat pixelFormatOf(VideoCodec codec) {
    return codec == VideoCodec::prores ? PixelFormat::yuv422p10 : PixelFormat::yuv420p8;
}

/// One export to a video file. Audio that is ready early enough is muxed while the video is written; otherwise
/// both are joined at the end.
class VideoExport {
public:
    explicit VideoExport(const ExportTask& task) : task_(task), video_(createOrRefuse(task.destination)) {}

    void run(SourceFrames& source, const VideoSettings& encoding);

private:
    [[nodiscard]] Rendered encode(SourceFrames& source, const VideoSettings& encoding);
    void openWriter(const VideoSettings& encoding);
    [[nodiscard]] const fs::path& audioFile();
    void join(double videoEnd);

    const ExportTask& task_;
    AtomicFile video_;                 // the picture, and the audio where it is ready early enough
    std::optional<AtomicFile> whole_;  // both, where it is not
    std::optional<PreparedAudio> audio_;
    std::optional<VideoWriter> writer_;
};

void VideoExport::openWriter(const VideoSettings& encoding) {
    try {
        if (!task_.reader.info().hasAudio) {
            writer_.emplace(video_.path(), encoding);
            return;
        }
        writer_.emplace(video_.path(), encoding, [this](bool isLast) {
            return isLast || audio_->isDone() ? std::optional(audioFile()) : std::nullopt;
        });
    } catch (const FileError& error) {
        throw failure(ExportError::Kind::cannotCreateWriter, error, task_.destination);
    }
}

const fs::path& VideoExport::audioFile() {
    try {
        const fs::path& file = audio_->file(task_.stop);
        throwIfStopped(task_.stop);  // after a stop the file may not exist
        return file;
    } catch (const FileError& error) {
        throw failure(ExportError::Kind::writerFailed, error, task_.destination, "edited audio: ");
    }
}

void VideoExport::join(double videoEnd) {
    const fs::path& audio = audioFile();
    try {
        whole_.emplace(task_.destination, AtomicFile::Access::umask);
        Remuxer::mux(video_.path(), audio, whole_->path(), videoEnd, containerOf(task_.options.preset));
    } catch (const FileError& error) {
        throw failure(ExportError::Kind::writerFailed, error, task_.destination, "audio mux: ");
    }
}

Rendered VideoExport::encode(SourceFrames& source, const VideoSettings& encoding) {
    std::unique_ptr<FrameCompositor> compositor;
    const auto encodeFrame = [&](const Picture& frame, std::int64_t pts) {
        // Not earlier, as it would delay the first frame.
        if (!audio_ && task_.reader.info().hasAudio)
            audio_.emplace(task_.recording, task_.states.timeline(), task_.destination);
        writer_->write(frame, pts);
    };
    const Rendered rendered = runPipeline(
        source,
        {.draw =
             [&](const SourceFrames::Item& item) {
                 return compositor->compose(item.frame, task_.states.state(item.sourceTime));
             },
         .encode = encodeFrame,
         .prepareDrawing = [&] { compositor = compositorFor(task_.states, pixelFormatOf(encoding.codec)); },
         .prepareEncoding = [&] { openWriter(encoding); }},
        task_.options.progress, task_.stop);
    if (rendered.frames == 0) throw noFrames(task_.recording);
    writer_->finish(std::llround(rendered.end / source.timeBase().value()));
    return rendered;
}

void VideoExport::run(SourceFrames& source, const VideoSettings& encoding) {
    const Rendered rendered = encode(source, encoding);
    throwIfStopped(task_.stop);
    if (audio_ && !writer_->hasFoundAudio()) join(rendered.end);
    throwIfStopped(task_.stop);
    (whole_ ? *whole_ : video_).commit(AtomicFile::Durability::none);
    if (audio_ && !audio_->notice().empty() && task_.options.notice)
        task_.options.notice(task_.destination.string() + ": " + audio_->notice());
}

}  // namespace

void exportVideo(const ExportTask& task) {
    const auto& [recording, reader, states, destination, options, stop] = task;
    const int fps = FrameStates::exportFrameRate(reader.info().frameRate);
    SourceFrames source(reader, states.timeline(), fps, SourceFrames::timesOf(states.timeline()));
    VideoSettings encoding = encoderSettings(options.preset, states.canvas(), fps, source.timeBase());
    encoding.encoder = options.encoder;
    VideoExport whole(task);
    whole.run(source, encoding);
}

}  // namespace lumenwhirl::Exporter
