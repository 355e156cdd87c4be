#include "Exporter/Exporter.h"

#include "Compositor/MissingGlyphs.h"
#include "Exporter/ExportErrors.h"
#include "Exporter/ExportTask.h"
#include "Exporter/FramePipeline.h"
#include "Exporter/SourceFrames.h"
#include "Media/MediaError.h"
#include "Media/VideoReader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <system_error>

namespace lumenwhirl::Exporter {
namespace {

namespace fs = std::filesystem;

VideoReader openRecording(const fs::path& recording) {
    try {
        return VideoReader(recording);
    } catch (const MediaError& error) {
        throw ExportError(error.kind() == MediaError::Kind::noVideoTrack ? ExportError::Kind::noVideoTrack
                                                                         : ExportError::Kind::cannotCreateReader,
                          error.what());
    }
}

/// What is damaged ends the recording, but not the frames before.
std::optional<VideoFrame> nextIfReadable(VideoReader& reader) {
    try {
        return reader.next();
    } catch (const MediaError&) {
        return std::nullopt;
    }
}

void checkDestination(const fs::path& recording, const fs::path& destination) {
    const auto refuse = [&](const std::string& why) {
        throw ExportError(ExportError::Kind::cannotCreateWriter, destination.string() + ": " + why);
    };
    std::error_code problem, ignored;
    const fs::file_status there = fs::status(destination, problem);
    if (destination.empty() || fs::is_directory(there)) refuse("is a folder; name a file");
    if (there.type() == fs::file_type::none) refuse("cannot write: " + problem.message());
    if (fs::exists(there) && !fs::is_regular_file(there)) refuse("is not a regular file; name another file");
    if (fs::equivalent(recording, destination, ignored)) refuse("is the recording itself; name another file");
    const fs::path folder = destination.has_parent_path() ? destination.parent_path() : fs::path(".");
    if (!fs::is_directory(folder, ignored)) refuse("its folder does not exist");
}

/// Graphics cards encode neither ProRes nor GIF.
void checkEncoder(const Options& options, const fs::path& destination) {
    if (!isGraphicsCard(options.encoder)) return;
    if (options.preset != Preset::prores && options.preset != Preset::gif) return;
    throw ExportError(ExportError::Kind::cannotCreateWriter,
                      destination.string() + ": " +
                          cannotMake(options.encoder, options.preset == Preset::prores ? "ProRes" : "GIFs"));
}

/// Tells in which scripts captions and keys will be boxes.
void noticeMissingFonts(const FrameStates& states, const ProjectSettings& settings,
                        const std::function<void(const std::string&)>& notice) {
    std::string text;
    if (settings.captions && settings.captions->enabled)
        for (const CaptionCue& cue : settings.captions->cues) text += cue.text;
    if (settings.keystrokes && settings.keystrokes->enabled) text += states.keystrokes().texts();
    std::string scripts;
    for (const std::string& script : scriptsWithoutFont(text)) scripts += (scripts.empty() ? "" : ", ") + script;
    if (!scripts.empty()) notice("boxes stand for characters that no font has: " + scripts);
}

}  // namespace

void exportRecording(const fs::path& recording, const EventLog& events, const ProjectSettings& settings,
                     const fs::path& destination, const Options& options, std::stop_token stop) {
    checkDestination(recording, destination);
    checkEncoder(options, destination);
    VideoReader reader = openRecording(recording);
    const Size content{static_cast<double>(reader.info().width), static_cast<double>(reader.info().height)};
    const FrameStates states(events, settings, content, options.zoom);
    if (options.notice) noticeMissingFonts(states, settings, options.notice);
    const ExportTask task{recording, reader, states, destination, options, stop};
    try {
        if (options.preset == Preset::gif) {
            exportGif(task);
        } else {
            exportVideo(task);
        }
    } catch (const FileError& error) {
        throw failure(ExportError::Kind::writerFailed, error, destination);
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
    const int fps = FrameStates::exportFrameRate(info.frameRate);
    double sourceTime = timeline.sourceTimeForOutput(outputTime);
    if (!timeline.isIdentity()) {
        // The grid's frame that is on screen then; its time may be a hair after the time asked for.
        const auto last =
            std::max<std::int64_t>(1, static_cast<std::int64_t>(fps * timeline.outputDuration())) - 1;
        const double shown = std::clamp(outputTime * fps + 1e-6, 0.0, static_cast<double>(last));
        sourceTime = SourceFrames::gridSourceTime(timeline, static_cast<std::int64_t>(shown), fps);
    }
    try {
        reader.seek(sourceTime);
        const auto frame = reader.next();
        if (!frame) throw noFrames(recording);
        const std::unique_ptr<FrameCompositor> compositor = compositorFor(states, PixelFormat::yuv420p8);
        if (timeline.isIdentity()) {  // drawn for the time of a showing, as in the export
            const double end = SourceFrames::endOf(*frame, nextIfReadable(reader), info, fps);
            const Showings showings(*frame, std::min(end, timeline.sourceDuration()), fps, info.timeBase);
            sourceTime = showings.newestAt(sourceTime);
        }
        return imageFromPicture(compositor->compose(*frame, states.state(sourceTime)));
    } catch (const MediaError& error) {
        throw ExportError(ExportError::Kind::cannotCreateReader, error.what());
    }
}

}  // namespace lumenwhirl::Exporter
