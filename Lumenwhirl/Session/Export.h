#pragma once

#include "Exporter/Exporter.h"
#include "Recorder/Package/LumenwhirlPackage.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>

/// Exports, stills and the models of a package. Like Packages.h, this blocks, prints nothing and throws one line.
namespace lumenwhirl::Session {

/// "web, social, …", for messages.
[[nodiscard]] std::string presetNames();
/// By the file's extension, in upper or lower case: .mp4 is web, .mov prores, .gif gif; empty for any other.
[[nodiscard]] std::optional<Preset> presetForExtensionOf(const std::filesystem::path& file);

/// "Demo.mp4" for "…/Demo.lumenwhirl": a name without a folder.
[[nodiscard]] std::filesystem::path exportName(const LumenwhirlPackage& package, Preset preset);

/// What the user may choose, and may leave open.
struct ExportChoices {
    std::optional<Preset> preset{};       // if empty the project's, or that of the destination's extension
    std::filesystem::path destination{};  // exportName() in the current folder if empty
    EncoderChoice encoder = EncoderChoice::automatic;
    FrameStates::Zoom zoom = FrameStates::Zoom::asProject;
};

/// An export with nothing left open: a value that any thread can run.
struct ExportTask {
    LumenwhirlPackage package;
    EventLog events;
    ProjectSettings project;
    std::filesystem::path destination;
    Preset preset = Preset::web;
    EncoderChoice encoder = EncoderChoice::automatic;
    FrameStates::Zoom zoom = FrameStates::Zoom::asProject;
};

/// Reads the documents, resolves the choices and checks the destination. Throws Error for a preset that does not
/// exist and for a destination that cannot be written, LumenwhirlPackage::Error for a document.
[[nodiscard]] ExportTask prepareExport(const LumenwhirlPackage& package, const ExportChoices& choices);

/// Blocks until the file is complete. `progress` is called after every frame, on one thread, and may be empty;
/// `notice` with a line for the user about what was done without. Throws Exporter::ExportError, of kind
/// `cancelled` after a stop, and Error for a document with absurd values; then nothing is written.
void runExport(const ExportTask& task, const std::function<void(const Exporter::Progress&)>& progress,
               const std::function<void(const std::string&)>& notice, const std::stop_token& stop);

/// The finished frame at an output time in seconds (clamped), as an export draws it. Throws like prepareExport()
/// and runExport().
[[nodiscard]] Image finishedFrame(const LumenwhirlPackage& package, double outputTime, FrameStates::Zoom zoom);

/// The models of a package as its export uses them; `contentSize` is the recorded frame's in pixels. Throws Error
/// for a document with absurd values.
[[nodiscard]] FrameStates frameStates(const LumenwhirlPackage& package, const EventLog& events,
                                      const ProjectSettings& project, Size contentSize, FrameStates::Zoom zoom);

}  // namespace lumenwhirl::Session
