#include "Exporter/FramePipeline.h"

#include "Exporter/BoundedQueue.h"
#include "Exporter/ExportErrors.h"

#include <algorithm>
#include <exception>
#include <thread>
#include <utility>

namespace lumenwhirl::Exporter {
namespace {

/// In each queue. Enough for the encoder to go on while a key frame is decoded: those of the demo take 40 ms of a
/// core, the others 3. With two, 12 s take 0.1 s longer; eight are no faster, and frames are large.
constexpr std::size_t queuedFrames = 4;

/// How many threads draw: one draws faster than a few cores encode; many cores would wait for it.
int drawingThreads() {
    return std::clamp(static_cast<int>(std::thread::hardware_concurrency()) / 4, 1, 4);
}

}  // namespace

std::unique_ptr<FrameCompositor> compositorFor(const FrameStates& states, PixelFormat format) {
    std::unique_ptr<FrameCompositor> compositor = FrameCompositor::make(format, drawingThreads());
    compositor->prepare(states.renderStyle(), states.canvas(), states.contentSize());
    return compositor;
}

Rendered runPipeline(SourceFrames& source, const FrameSteps& steps, const std::function<void(Progress)>& report,
                     const std::stop_token& stop) {
    struct Finished {
        Picture picture;
        std::int64_t pts = 0;
    };
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
            steps.prepareEncoding();
            while (const auto next = finished.pop(stopEncoder)) steps.encode(next->picture, next->pts);
        } catch (...) {
            encoderFailure = std::current_exception();
            finished.close(encoderFailure);
        }
    });

    steps.prepareDrawing();
    Progress progress{0, source.totalFrames()};
    double end = 0;
    Picture last;
    while (const auto item = decoded.pop(stop)) {
        Picture picture = steps.draw(*item);
        if (item->isAgain && picture.isSame(last)) {  // one frame less to come
            progress.totalFrames = std::max(progress.totalFrames - 1, progress.framesDone + 1);
            continue;
        }
        last = picture;
        end = item->end;
        if (!finished.push({std::move(picture), item->pts}, stop)) break;
        ++progress.framesDone;
        progress.totalFrames = std::max(progress.totalFrames, progress.framesDone);
        if (report) report(progress);
    }
    throwIfStopped(stop);
    finished.close();
    encoder.join();  // a few frames more
    if (encoderFailure) std::rethrow_exception(encoderFailure);
    return {progress.framesDone, end};
}

}  // namespace lumenwhirl::Exporter
