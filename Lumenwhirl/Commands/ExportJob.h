#pragma once

#include "Exporter/Preset.h"
#include "Lumenwhirl/Commands/Interruption.h"
#include "Lumenwhirl/Commands/ProgressDisplay.h"
#include "Media/Encoders.h"
#include "Recorder/Package/LumenwhirlPackage.h"
#include "Scene/FrameStates.h"

#include <filesystem>

namespace lumenwhirl {

/// One export as the command line runs it: with progress, and stopped by a signal.
struct ExportJob {
    LumenwhirlPackage package;
    EventLog events;
    ProjectSettings project;
    Preset preset = Preset::web;
    EncoderChoice encoder = EncoderChoice::automatic;
    FrameStates::Zoom zoom = FrameStates::Zoom::asProject;
    std::filesystem::path destination;
    ProgressStyle progress = ProgressStyle::none;
};

/// Blocks until the file is complete. Throws what the exporter throws, and CommandError when it was stopped.
void runExport(const ExportJob& job, Interruption& interruption);

}  // namespace lumenwhirl
