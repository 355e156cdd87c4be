#pragma once

#include "Exporter/Exporter.h"
#include "Media/VideoReader.h"
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

/// Both write the destination as exportRecording does, and throw ExportError, MediaError,
/// std::filesystem::filesystem_error.
void exportVideo(const ExportTask& task);
void exportGif(const ExportTask& task);

}  // namespace lumenwhirl::Exporter
