#include "Lumenwhirl/Commands/CaptionsCommand.h"

#include "Lumenwhirl/Captions/CaptionFile.h"
#include "Lumenwhirl/Commands/Files.h"

#include <CLI/CLI.hpp>

namespace lumenwhirl {
namespace {

void writeCaptions(const ProjectSettings& project, const std::filesystem::path& destination,
                   const LumenwhirlPackage& package) {
    const CaptionFile::Format format = CaptionFile::formatOf(destination);
    if (format == CaptionFile::Format::timedWords)
        throw UsageError("--export: captions are written as .srt or .vtt");
    Files::checkDestination(destination, &package);
    const std::vector<CaptionCue> cues = project.captions ? project.captions->cues : std::vector<CaptionCue>();
    Files::NewFile file(destination);
    file.write(CaptionFile::textOf(cues, format));
    file.commit();
}

}  // namespace

CaptionsCommand::CaptionsCommand(CLI::App& parser) : Command(parser) {
    parser.add_option("PACKAGE", package_, "The recording, a folder that ends in .lumenwhirl")
        ->required()
        ->option_text(" ");
    parser
        .add_option("--import", import_,
                    "Take the captions of this file, in place of any there are, and show them")
        ->option_text("FILE");
    parser.add_option("--export", export_, "Write the captions to this file (.srt or .vtt)")->option_text("FILE");
    parser.add_flag("--clear", clear_, "Remove all captions");
    parser.footer(
        "Files are told apart by their ending: SubRip (.srt), WebVTT (.vtt), or words with times as a speech\n"
        "recogniser gives them (.json: [{\"text\":\"Hello\",\"start\":0.2,\"end\":0.5}, ...], in seconds), which "
        "are\n"
        "grouped into captions. Times are those of the recording, before any edit.\n\n"
        "Examples:\n"
        "  lumenwhirl captions Demo.lumenwhirl --import talk.srt\n"
        "  lumenwhirl captions Demo.lumenwhirl --export talk.vtt");
}

void CaptionsCommand::run() {
    if (import_.empty() && export_.empty() && !clear_)
        throw UsageError("captions: nothing to do; give --import FILE, --export FILE or --clear");
    if (clear_ && !(import_.empty() && export_.empty()))
        throw UsageError("captions: --clear goes with neither --import nor --export");
    const LumenwhirlPackage package = Files::openPackage(package_);
    ProjectSettings project = package.readProject();
    if (clear_ && project.captions) {
        project.captions->cues.clear();
        package.writeProject(project);
    }
    if (!import_.empty()) {
        std::vector<CaptionCue> cues = CaptionFile::read(import_);
        if (cues.empty()) throw CommandError(import_ + ": holds no captions; --clear removes those there are");
        if (!project.captions) project.captions.emplace();
        project.captions->enabled = true;
        project.captions->cues = std::move(cues);
        package.writeProject(project);
    }
    if (!export_.empty()) writeCaptions(project, export_, package);
}

}  // namespace lumenwhirl
