#include "Exporter/ExportErrors.h"
#include "Exporter/ExportTask.h"
#include "Exporter/FramePipeline.h"
#include "Exporter/SourceFrames.h"
#include "Files/AtomicFile.h"
#include "Media/GifWriter.h"
#include "Media/MediaError.h"
#include "Media/VideoReader.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

namespace lumenwhirl::Exporter {
namespace {

constexpr int fps = 15;
constexpr std::int64_t colorSamples = 32;  // enough for every scene of a recording, and quickly drawn

/// Shows the writer frames from all over the video, so that its palette fits them all. Reads the recording with
/// a reader of its own; if that cannot seek or the file is damaged, the frames seen so far have to do.
void learnColors(GifWriter& writer, const ExportTask& task, FrameCompositor& compositor, std::int64_t frames) {
    VideoReader reader(task.recording);
    const std::int64_t samples = std::min(frames, colorSamples);
    for (std::int64_t i = 0; i < samples; ++i) {
        throwIfStopped(task.stop);
        const std::int64_t index = frames * (2 * i + 1) / (2 * samples);  // in the middle of its share
        const double sourceTime = SourceFrames::gridSourceTime(task.states.timeline(), index, fps);
        std::optional<VideoFrame> frame;
        try {
            reader.seek(sourceTime);
            frame = reader.next();
        } catch (const MediaError&) {
        }
        if (!frame) return;
        writer.learn(compositor.compose(*frame, task.states.state(sourceTime)));
    }
}

}  // namespace

void exportGif(const ExportTask& task) {
    SourceFrames source(task.reader, task.states.timeline(), fps, SourceFrames::Times::grid);
    const std::unique_ptr<FrameCompositor> compositor = compositorFor(task.states, PixelFormat::yuv420p8);
    AtomicFile file = createOrRefuse(task.destination);
    const Size canvas = task.states.canvas();
    GifWriter writer(
        file.path(),
        {.width = static_cast<int>(canvas.width), .height = static_cast<int>(canvas.height), .frameRate = fps});
    if (task.options.progress) task.options.progress({0, source.totalFrames()});
    learnColors(writer, task, *compositor, source.totalFrames());
    const Rendered rendered =
        runPipeline(source,
                    {[&](const SourceFrames::Item& item) {
                         return compositor->compose(item.frame, task.states.state(item.sourceTime));
                     },
                     [&](const Picture& frame, std::int64_t) { writer.write(frame); }},
                    task.options.progress, task.stop);
    if (rendered.frames == 0) throw noFrames(task.recording);
    writer.finish();
    throwIfStopped(task.stop);
    file.commit(AtomicFile::Durability::none);
}

}  // namespace lumenwhirl::Exporter
