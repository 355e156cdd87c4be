#pragma once

#include "Engine/Geometry/Shapes.h"
#include "Exporter/Exporter.h"
#include "Exporter/Preset.h"
#include "Media/VideoReader.h"
#include "Media/VideoWriter.h"
#include "Scene/FrameStates.h"

#include <filesystem>
#include <stop_token>

namespace lumenwhirl::Exporter {

/// The input of every kind of export. Borrows all of it.
struct ExportTask {
    const std::filesystem::path& recording;
    VideoReader& reader;  // of the recording, at its start
    const FrameStates& states;
    const std::filesystem::path& destination;
    const Options& options;
    const std::stop_token& stop;
};

/// Both write the destination as exportRecording does, and throw ExportError or FileError.
void exportVideo(const ExportTask& task);
void exportGif(const ExportTask& task);

/// How a preset's video is encoded. `canvas` in pixels, `timeBase` that of the frame times.
[[nodiscard]] VideoSettings encoderSettings(Preset preset, Size canvas, int fps, Rational timeBase);

}  // namespace lumenwhirl::Exporter
