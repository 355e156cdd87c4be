#include "Lumenwhirl/Commands/FrameCommand.h"

#include "Compositor/PngFile.h"
#include "Exporter/Exporter.h"
#include "Lumenwhirl/Commands/DocumentErrors.h"
#include "Lumenwhirl/Commands/Files.h"
#include "Lumenwhirl/Commands/Numbers.h"

#include <CLI/CLI.hpp>

#include <limits>

namespace lumenwhirl {

FrameCommand::FrameCommand(CLI::App& parser) : Command(parser) {
    constexpr double anything = std::numeric_limits<double>::max();
    parser.add_option("PACKAGE", package_, "The recording, a folder that ends in .lumenwhirl")
        ->required()
        ->option_text(" ");
    Numbers::addDouble(parser, "--at", at_, {-anything, anything},
                       "The time in the finished video, in seconds; the nearest frame beyond its ends")
        ->required()
        ->option_text("T");
    parser.add_option("-o,--output", output_, "The picture to write (PNG)")->required()->option_text("FILE.png");
    parser.add_flag("--no-zoom", noZoom_, "Keep the camera still");
    parser.footer(
        "Example:\n"
        "  lumenwhirl frame Demo.lumenwhirl --at 2.5 -o frame.png");
}

void FrameCommand::run() {
    const LumenwhirlPackage package = Files::openPackage(package_);
    const EventLog events = package.readEvents();
    const ProjectSettings project = package.readProject();
    Files::checkDestination(output_, &package);
    const Image frame = onDocumentsOf(package, [&] {
        return Exporter::finishedFrame(package.recordingURL(), events, project, at_,
                                       noZoom_ ? FrameStates::Zoom::off : FrameStates::Zoom::asProject);
    });
    writePng(frame, output_);
}

}  // namespace lumenwhirl
