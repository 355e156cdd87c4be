#include "Lumenwhirl/Commands/InspectCommand.h"

#include "Lumenwhirl/Commands/DocumentErrors.h"
#include "Lumenwhirl/Commands/Files.h"
#include "Lumenwhirl/Commands/InspectionReport.h"
#include "Lumenwhirl/Commands/Numbers.h"
#include "Media/VideoReader.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <limits>

namespace lumenwhirl {
namespace {

/// A package without a video is inspected as if its display had been recorded.
InspectedVideo videoOf(const LumenwhirlPackage& package, const EventLog& events, const ProjectSettings& project) {
    std::error_code error;
    const bool hasVideo = std::filesystem::exists(std::filesystem::symlink_status(package.recordingURL(), error));
    if (!hasVideo) {
        const DisplayInfo& display = events.recording.display;
        return {{static_cast<double>(display.pixelWidth), static_cast<double>(display.pixelHeight)},
                FrameStates::exportFrameRate(0),
                project.timeline.duration};
    }
    const VideoReader reader(package.recordingURL());
    const VideoInfo& info = reader.info();
    return {{static_cast<double>(info.width), static_cast<double>(info.height)},
            FrameStates::exportFrameRate(info.frameRate),
            info.duration};
}

}  // namespace

InspectCommand::InspectCommand(CLI::App& parser) : Command(parser) {
    constexpr double anything = std::numeric_limits<double>::max();
    parser.add_option("PACKAGE", package_, "The recording, a folder that ends in .lumenwhirl")
        ->required()
        ->option_text(" ");
    Numbers::addDoubles(parser, "--at", times_, {-anything, anything},
                        "Tell the state at this time of the finished video, in seconds; any number of times")
        ->option_text("T");
    parser.add_flag("--source", timesAreSource_, "The times are those of the recording, before any edit");
    parser.footer(
        "Example:\n"
        "  lumenwhirl inspect Demo.lumenwhirl --at 1.5 --at 3");
}

void InspectCommand::run() {
    const LumenwhirlPackage package = Files::openPackage(package_);
    const EventLog events = package.readEvents();
    const ProjectSettings project = package.readProject();
    const InspectedVideo video = videoOf(package, events, project);
    const std::string report = onDocumentsOf(package, [&] {
        const FrameStates states(events, project, video.size, FrameStates::Zoom::asProject);
        return inspectionReport(video, states, FrameStates::autoSegments(events, project.zoom), times_,
                                timesAreSource_ ? TimesAre::source : TimesAre::output);
    });
    std::puts(report.c_str());
}

}  // namespace lumenwhirl
