#include "Exporter/Exporter.h"

#include "Exporter/BackgroundSound.h"
#include "Exporter/BoundedQueue.h"
#include "Exporter/FramePool.h"
#include "Exporter/PictureOf.h"
#include "Exporter/SourceFrames.h"
#include "Exporter/TemporaryFile.h"
#include "Media/MediaError.h"
#include "Media/Remuxer.h"
#include "Media/VideoReader.h"
#include "Media/VideoWriter.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace lumenwhirl::Exporter {
namespace {

namespace fs = std::filesystem;

/// Enough for the decoder, the drawing and the encoder to work side by side, no more: frames are large.
constexpr std::size_t queuedFrames = 3;

[[noreturn]] void throwCancelled() {
    throw ExportError(ExportError::Kind::cancelled, "cancelled");
}

VideoReader openRecording(const fs::path& recording) {
    try {
        return VideoReader(recording);
    } catch (const MediaError& error) {
        throw ExportError(error.kind() == MediaError::Kind::noVideoTrack ? ExportError::Kind::noVideoTrack
                                                                         : ExportError::Kind::cannotCreateReader,
                          error.what());
    }
}

ExportError noFrames(const fs::path& recording) {
    return {ExportError::Kind::noVideoTrack,
            recording.string() + ": the video has no frames; record again or restore the file"};
}

void checkDestination(const fs::path& recording, const fs::path& destination) {
    const auto refuse = [&](const std::string& why) {
        throw ExportError(ExportError::Kind::cannotCreateWriter, destination.string() + ": " + why);
    };
    std::error_code problem, ignored;
    const fs::file_status there = fs::status(destination, problem);
    if (destination.empty() || fs::is_directory(there)) refuse("is a folder; name a file");
    if (there.type() == fs::file_type::none) refuse("cannot write: " + problem.message());
    if (fs::exists(there) && !fs::is_regular_file(there)) refuse("is no file that can be replaced; name a file");
    if (fs::equivalent(recording, destination, ignored)) refuse("is the recording itself; name another file");
    const fs::path folder = destination.has_parent_path() ? destination.parent_path() : fs::path(".");
    if (!fs::is_directory(folder, ignored)) refuse("its folder does not exist");
}

VideoSettings videoSettings(Preset preset, Size canvas, int fps, Rational timeBase) {
    VideoSettings settings;
    settings.width = static_cast<int>(canvas.width);
    settings.height = static_cast<int>(canvas.height);
    settings.frameRate = {fps, 1};
    settings.timeBase = timeBase;
    const PresetRates rates = ratesFor(preset, settings.width, settings.height, fps);
    settings.bitRate = std::max<std::int64_t>(rates.bitRate, 1000);  // the encoders count in thousands
    settings.keyFrameInterval = rates.keyFrameInterval;
    switch (preset) {
        case Preset::web:
            settings.codec = VideoCodec::h264;
            // On a finished demo (1080p60, two cores) the preset alone takes 6.1 s, its worst frame at an SSIM of
            // 0.990; with a short look ahead 6.0 s and 0.997, as good as "veryfast" (0.998) in 8.3 s.
            settings.speed = "superfast";
            settings.lookahead = 10;
            break;
        case Preset::social:
            settings.codec = VideoCodec::hevc;
            settings.speed = "superfast";
            break;
    }
    return settings;
}

/// How many threads draw: one draws faster than a few cores encode; many cores would wait for it.
int drawingThreads() {
    return std::clamp(static_cast<int>(std::thread::hardware_concurrency()) / 4, 1, 4);
}

/// Draws finished frames one after the other; one that shows the same as the last is the last one again.
class FrameMaker {
public:
    explicit FrameMaker(const FrameStates& states)
        : states_(states),
          pool_(prepared(compositor_, states), static_cast<int>(states.canvas().width),
                static_cast<int>(states.canvas().height)) {}

    [[nodiscard]] VideoFrame make(const SourceFrames::Item& item) {
        FrameState state = states_.state(item.sourceTime);
        const bool isSame = last_ && item.frame.plane(0) == source_->plane(0) && state == state_;
        if (isSame) return *last_;
        VideoFrame frame = pool_.take();
        compositor_.render(pictureOf(item.frame), state, mutablePictureOf(frame));
        source_ = item.frame;  // kept, so that its memory is not another frame's meanwhile
        state_ = std::move(state);
        last_ = frame;
        return frame;
    }

private:
    static const FrameCompositor& prepared(FrameCompositor& compositor, const FrameStates& states) {
        compositor.prepareStyle(states.renderStyle(), states.canvas(), states.contentSize());
        return compositor;
    }

    const FrameStates& states_;
    FrameCompositor compositor_{drawingThreads()};
    FramePool pool_;
    std::optional<VideoFrame> source_, last_;
    FrameState state_;
};

struct Rendered {
    std::int64_t frames = 0;
    double end = 0;  // when the last frame ends, output seconds
};

/// Decodes, draws and encodes side by side.
Rendered renderVideo(SourceFrames& source, const FrameStates& states, VideoWriter& writer, const Options& options,
                     const std::stop_token& stop) {
    struct Finished {
        VideoFrame frame;
        std::int64_t pts = 0;
    };
    FrameMaker maker(states);
    BoundedQueue<SourceFrames::Item> decoded(queuedFrames);
    BoundedQueue<Finished> finished(queuedFrames);
    std::exception_ptr encoderFailure;  // read after the encoder's thread has ended

    // Whichever way this function ends, its threads are told to stop and then waited for, so none waits for ever.
    std::jthread decoder([&](std::stop_token stopDecoder) {
        try {
            while (auto item = source.next())
                if (!decoded.push(std::move(*item), stopDecoder)) return;
            decoded.close();
        } catch (...) {
            decoded.close(std::current_exception());
        }
    });
    std::jthread encoder([&](std::stop_token stopEncoder) {
        try {
            while (const auto next = finished.pop(stopEncoder)) writer.write(next->frame, next->pts);
        } catch (...) {
            encoderFailure = std::current_exception();
            finished.close(encoderFailure);
        }
    });

    Progress progress{0, source.totalFrames()};
    std::int64_t lastPts = 0;
    while (const auto item = decoded.pop(stop)) {
        if (!finished.push({maker.make(*item), item->pts}, stop)) break;
        lastPts = item->pts;
        ++progress.framesDone;
        progress.totalFrames = std::max(progress.totalFrames, progress.framesDone);
        if (options.progress) options.progress(progress);
    }
    if (stop.stop_requested()) throwCancelled();
    finished.close();
    encoder.join();  // a few frames more
    if (encoderFailure) std::rethrow_exception(encoderFailure);
    return {progress.framesDone, static_cast<double>(lastPts) * source.timeBase().value() + 1.0 / source.fps()};
}

/// What is wrong, for a message that names the destination: the name of a file in the making says nothing to
/// users.
std::string problemOf(const MediaError& error, const fs::path& temporary) {
    std::string message = error.what();
    const std::string name = temporary.string() + ": ";
    return message.starts_with(name) ? message.substr(name.size()) : message;
}

VideoWriter openWriter(const fs::path& video, const VideoSettings& settings, const fs::path& destination) {
    try {
        return VideoWriter(video, settings);
    } catch (const MediaError& error) {
        throw ExportError(ExportError::Kind::cannotCreateWriter,
                          destination.string() + ": " + problemOf(error, video));
    }
}

/// Joins picture and sound; tells failures of the sound from those of the picture.
void layUnder(BackgroundSound& sound, const fs::path& video, double videoEnd, const fs::path& whole,
              const fs::path& destination, const std::stop_token& stop) {
    const auto fail = [&](const char* step, const std::string& problem) {
        throw ExportError(ExportError::Kind::writerFailed, destination.string() + ": " + step + problem);
    };
    const fs::path* file = nullptr;
    try {
        file = &sound.file(stop);
    } catch (const MediaError& error) {
        fail("edited audio: ", problemOf(error, sound.editedFile()));
    }
    if (stop.stop_requested()) throwCancelled();  // perhaps there is no such file then
    try {
        Remuxer::mux(video, *file, whole, videoEnd);
    } catch (const MediaError& error) {
        fail("audio mux: ", problemOf(error, whole));
    }
}

}  // namespace

void exportRecording(const fs::path& recording, const EventLog& events, const ProjectSettings& settings,
                     const fs::path& destination, const Options& options, std::stop_token stop) {
    checkDestination(recording, destination);
    VideoReader reader = openRecording(recording);
    const VideoInfo& info = reader.info();
    const int fps = FrameStates::exportFrameRate(info.frameRate);
    const FrameStates states(events, settings, {static_cast<double>(info.width), static_cast<double>(info.height)},
                             options.zoom);
    SourceFrames source(reader, states.timeline(), fps);

    TemporaryFile video(destination, "video.mp4"), whole(destination, "whole.mp4");
    try {
        std::optional<BackgroundSound> sound;
        if (info.hasAudio) sound.emplace(recording, states.timeline(), destination);
        Rendered rendered;
        {
            VideoWriter writer = openWriter(
                video.path(), videoSettings(options.preset, states.canvas(), fps, source.timeBase()), destination);
            rendered = renderVideo(source, states, writer, options, stop);
            if (rendered.frames == 0) throw noFrames(recording);
            writer.finish();
        }
        if (stop.stop_requested()) throwCancelled();
        if (sound) layUnder(*sound, video.path(), rendered.end, whole.path(), destination, stop);
        if (stop.stop_requested()) throwCancelled();
        (sound ? whole : video).moveTo(destination);
    } catch (const MediaError& error) {
        const std::string problem = problemOf(error, video.path());
        const bool namesAnother = problem == error.what();  // the recording
        throw ExportError(ExportError::Kind::writerFailed,
                          namesAnother ? problem : destination.string() + ": " + problem);
    } catch (const fs::filesystem_error& error) {
        throw ExportError(ExportError::Kind::writerFailed,
                          destination.string() + ": cannot write: " + error.code().message());
    }
}

Image finishedFrame(const fs::path& recording, const EventLog& events, const ProjectSettings& settings,
                    double outputTime, FrameStates::Zoom zoom) {
    VideoReader reader = openRecording(recording);
    const VideoInfo& info = reader.info();
    const FrameStates states(events, settings, {static_cast<double>(info.width), static_cast<double>(info.height)},
                             zoom);
    const EditTimeline& timeline = states.timeline();
    if (std::isnan(outputTime)) outputTime = 0;
    double sourceTime = timeline.sourceTimeForOutput(outputTime);
    if (!timeline.isIdentity()) {
        // The grid's frame that is on screen then; its time may be a hair after the time asked for.
        const int fps = FrameStates::exportFrameRate(info.frameRate);
        const auto last =
            std::max<std::int64_t>(1, static_cast<std::int64_t>(fps * timeline.outputDuration())) - 1;
        const double shown = std::clamp(outputTime * fps + 1e-6, 0.0, static_cast<double>(last));
        sourceTime = SourceFrames::gridSourceTime(timeline, static_cast<std::int64_t>(shown), fps);
    }
    try {
        reader.seek(sourceTime);
        const auto frame = reader.next();
        if (!frame) throw noFrames(recording);
        FrameCompositor compositor;
        compositor.prepareStyle(states.renderStyle(), states.canvas(), states.contentSize());
        Picture picture(static_cast<int>(states.canvas().width), static_cast<int>(states.canvas().height));
        compositor.drawBase(picture.mutableView());
        // An unedited recording's frame is drawn for its own time, as in the export.
        const FrameState state = states.state(timeline.isIdentity() ? frame->time() : sourceTime);
        compositor.render(pictureOf(*frame), state, picture.mutableView());
        return imageFromPicture(picture.view());
    } catch (const MediaError& error) {
        throw ExportError(ExportError::Kind::cannotCreateReader, error.what());
    }
}

}  // namespace lumenwhirl::Exporter
