#include "Exporter/Exporter.h"

#include "Exporter/BackgroundSound.h"
#include "Exporter/EncoderSettings.h"
#include "Exporter/FrameMaker.h"
#include "Exporter/FramePipeline.h"
#include "Exporter/PictureOf.h"
#include "Exporter/SourceFrames.h"
#include "Exporter/TemporaryFile.h"
#include "Media/MediaError.h"
#include "Media/Remuxer.h"
#include "Media/VideoReader.h"
#include "Media/VideoWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <system_error>

namespace lumenwhirl::Exporter {
namespace {

namespace fs = std::filesystem;

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
            VideoSettings encoding = encoderSettings(options.preset, states.canvas(), fps, source.timeBase());
            encoding.encoder = options.encoder;
            if (sound) encoding.indexPlace = IndexPlace::end;  // joined with the sound, it comes to the front
            VideoWriter writer = openWriter(video.path(), encoding, destination);
            FrameMaker<std::uint8_t> maker(states);
            rendered = runPipeline(source,
                                   {[&](const SourceFrames::Item& item) { return maker.make(item); },
                                    [&](const VideoFrame& frame, std::int64_t pts) { writer.write(frame, pts); }},
                                   options.progress, stop);
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
