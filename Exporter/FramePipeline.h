#pragma once

#include "Compositor/FrameCompositor.h"
#include "Exporter/Exporter.h"
#include "Exporter/SourceFrames.h"
#include "Pixels/Picture.h"
#include "Scene/FrameStates.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>

namespace lumenwhirl::Exporter {

/// What happens to each recorded frame; draws on the caller's thread, encodes on one of its own.
struct FrameSteps {
    std::function<Picture(const SourceFrames::Item&)> draw;
    /// `pts` in ticks of the source's time base.
    std::function<void(const Picture&, std::int64_t pts)> encode;
    /// What takes a while before the first frame, on the thread that then draws or encodes; meanwhile frames are
    /// decoded.
    std::function<void()> prepareDrawing = [] {}, prepareEncoding = [] {};
};

struct Rendered {
    std::int64_t frames = 0;
    double end = 0;  // when the last frame ends, output seconds
};

/// Decodes, draws and encodes side by side, a few frames at a time, until the source ends. Throws what the steps
/// and the source throw, the first of them; ExportError (cancelled) after a stop. Nothing runs any more when it
/// returns.
[[nodiscard]] Rendered runPipeline(SourceFrames& source, const FrameSteps& steps,
                                   const std::function<void(Progress)>& progress, const std::stop_token& stop);

/// Draws the frames of an export: ready for its style, in a format for its encoder. Takes a while.
[[nodiscard]] std::unique_ptr<FrameCompositor> compositorFor(const FrameStates& states, PixelFormat format);

}  // namespace lumenwhirl::Exporter
