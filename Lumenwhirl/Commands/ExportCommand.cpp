#include "Lumenwhirl/Commands/ExportCommand.h"

#include "Lumenwhirl/Commands/EncoderOption.h"
#include "Lumenwhirl/Commands/ExportJob.h"
#include "Lumenwhirl/Commands/Files.h"
#include "Lumenwhirl/Commands/PresetNames.h"

#include <CLI/CLI.hpp>

namespace lumenwhirl {
namespace {

/// "Demo.mp4" in the current folder for "…/Demo.lumenwhirl".
std::filesystem::path defaultDestination(const std::filesystem::path& package, Preset preset) {
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::canonical(package, error);  // "." has no name of its own
    return absolute.stem() += "." + std::string(fileExtension(preset));
}

}  // namespace

ExportCommand::ExportCommand(CLI::App& parser) : Command(parser) {
    parser.add_option("PACKAGE", package_, "The recording, a folder that ends in .lumenwhirl")
        ->required()
        ->option_text(" ");
    parser.add_option("-o,--output", output_, "The file to write; the package's name in this folder if left out")
        ->option_text("FILE");
    parser
        .add_option_function<std::string>(
            "--preset",
            [this](const std::string& name) {
                preset_ = presetFromRawValue(name);
                if (!preset_)
                    throw CLI::ValidationError(
                        "--preset", "unknown preset \"" + name + "\"; known are " + PresetNames::list());
            },
            "What the video is for: web (H.264), social (HEVC), prores (to go on editing) or gif; the project's "
            "own if "
            "left out")
        ->option_text("NAME");
    addEncoderOption(parser, encoder_);
    parser.add_flag("--no-zoom", noZoom_, "Keep the camera still");
    parser
        .add_option_function<std::string>(
            "--progress",
            [this](const std::string& name) {
                if (!progressStyleFromName(name))
                    throw CLI::ValidationError("--progress", "\"" + name + "\" is none of bar, json, none");
                progress_ = name;
            },
            "bar, json (a line of JSON a frame on standard output) or none; a bar on a terminal if left out")
        ->option_text("HOW");
    parser.footer(
        "The file appears when it is complete. Ctrl-C stops and leaves nothing behind.\n\n"
        "Examples:\n"
        "  lumenwhirl export Demo.lumenwhirl\n"
        "  lumenwhirl export Demo.lumenwhirl -o talk.mp4 --preset social --no-zoom\n"
        "  lumenwhirl export Demo.lumenwhirl -o talk.mp4 --progress json | my-progress-window");
}

void ExportCommand::run() {
    const LumenwhirlPackage package = Files::openPackage(package_);
    ProjectSettings project = package.readProject();
    const Preset preset = preset_ ? *preset_
                                  : PresetNames::presetNamed(project.exportSettings.preset,
                                                             package.projectURL().string() + ": export.preset");
    const std::filesystem::path destination =
        output_.empty() ? defaultDestination(package.url(), preset) : std::filesystem::path(output_);
    Files::checkDestination(destination, &package);
    Interruption interruption;
    runExport({.package = package,
               .events = package.readEvents(),
               .project = std::move(project),
               .preset = preset,
               .encoder = encoder_,
               .zoom = noZoom_ ? FrameStates::Zoom::off : FrameStates::Zoom::asProject,
               .destination = destination,
               .progress = progress_.empty() ? defaultProgressStyle() : *progressStyleFromName(progress_)},
              interruption);
}

}  // namespace lumenwhirl
