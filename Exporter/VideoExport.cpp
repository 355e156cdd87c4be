#include "Exporter/BackgroundSound.h"
#include "Exporter/EncoderSettings.h"
#include "Exporter/ExportErrors.h"
#include "Exporter/ExportTask.h"
#include "Exporter/FrameMaker.h"
#include "Exporter/FramePipeline.h"
#include "Exporter/SourceFrames.h"
#include "Exporter/TemporaryFile.h"
#include "Media/Remuxer.h"
#include "Media/VideoWriter.h"

#include <cstdint>
#include <optional>
#include <string>

namespace lumenwhirl::Exporter {
namespace {

namespace fs = std::filesystem;

Container containerOf(Preset preset) {
    return preset == Preset::prores ? Container::mov : Container::mp4;
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
              const fs::path& destination, Container container, const std::stop_token& stop) {
    const auto fail = [&](const char* step, const std::string& problem) {
        throw ExportError(ExportError::Kind::writerFailed, destination.string() + ": " + step + problem);
    };
    const fs::path* file = nullptr;
    try {
        file = &sound.file(stop);
    } catch (const MediaError& error) {
        fail("edited audio: ", problemOf(error, sound.editedFile()));
    }
    throwIfStopped(stop);  // perhaps there is no such file then
    try {
        Remuxer::mux(video, *file, whole, videoEnd, container);
    } catch (const MediaError& error) {
        fail("audio mux: ", problemOf(error, whole));
    }
}

template <class Sample>
Rendered encodeFrames(SourceFrames& source, const ExportTask& task, const VideoSettings& encoding,
                      const fs::path& video) {
    FrameMaker<Sample> maker(task.states);
    std::optional<VideoWriter> writer;  // opened by the encoder's thread: meanwhile the first frames are made
    const Rendered rendered = runPipeline(source,
                                          {[&](const SourceFrames::Item& item) { return maker.make(item); },
                                           [&](const VideoFrame& frame, std::int64_t pts) {
                                               if (!writer)
                                                   writer.emplace(openWriter(video, encoding, task.destination));
                                               writer->write(frame, pts);
                                           }},
                                          task.options.progress, task.stop);
    if (rendered.frames == 0) throw noFrames(task.recording);
    writer->finish();
    return rendered;
}

}  // namespace

void exportVideo(const ExportTask& task) {
    const auto& [recording, reader, states, destination, options, stop] = task;
    const int fps = FrameStates::exportFrameRate(reader.info().frameRate);
    SourceFrames source(reader, states.timeline(), fps, SourceFrames::timesOf(states.timeline()));
    TemporaryFile video(destination, "video"), whole(destination, "whole");
    createOrRefuse(video, destination);
    std::optional<BackgroundSound> sound;
    if (reader.info().hasAudio) sound.emplace(recording, states.timeline(), destination);

    VideoSettings encoding = encoderSettings(options.preset, states.canvas(), fps, source.timeBase());
    encoding.encoder = options.encoder;
    if (sound) encoding.layout = FileLayout::indexLast;  // joined with the sound, it comes to the front
    Rendered rendered;
    try {
        rendered = encoding.codec == VideoCodec::prores
                       ? encodeFrames<std::uint16_t>(source, task, encoding, video.path())
                       : encodeFrames<std::uint8_t>(source, task, encoding, video.path());
    } catch (const MediaError& error) {
        throwNamingDestination(error, video.path(), destination);
    }
    throwIfStopped(stop);
    if (sound)
        layUnder(*sound, video.path(), rendered.end, whole.path(), destination, containerOf(options.preset), stop);
    throwIfStopped(stop);
    (sound ? whole : video).moveTo(destination);
}

}  // namespace lumenwhirl::Exporter
