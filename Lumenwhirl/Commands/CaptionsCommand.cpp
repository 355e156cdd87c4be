#include "Files/AtomicFile.h"
#include "Lumenwhirl/Captions/CaptionFile.h"
#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/Options.h"
#include "Lumenwhirl/Commands/Terminal.h"

#include <CLI/CLI.hpp>

namespace lumenwhirl {
namespace {

void writeCaptions(const ProjectSettings& project, const std::filesystem::path& destination,
                   const LumenwhirlPackage& package) {
    const CaptionFile::Format format = CaptionFile::formatOf(destination);
    if (format == CaptionFile::Format::timedWords)
        throw UsageError("--export: captions are written as .srt or .vtt");
    Session::checkDestination(destination, &package);
    const std::vector<CaptionCue> cues = project.captions ? project.captions->cues : std::vector<CaptionCue>();
    AtomicFile file(destination, AtomicFile::Access::umask);
    file.write(CaptionFile::textOf(cues, format));
    file.commit(AtomicFile::Durability::content);
}

/// `lumenwhirl captions`: imports, exports or removes captions.
class CaptionsCommand final : public Command {
public:
    explicit CaptionsCommand(CLI::App& parser) : Command(parser) {
        Options::addPackage(parser, package_);
        parser
            .add_option("--import", import_, "Replace the captions with those in this file, and turn captions on")
            ->option_text("FILE");
        parser.add_option("--export", export_, "Write the captions to this file (.srt or .vtt)")
            ->option_text("FILE");
        parser.add_flag("--clear", clear_, "Remove all captions");
        parser.footer(
            "The file's extension tells its format: SubRip (.srt), WebVTT (.vtt), or timed words as speech\n"
            "recognition delivers them (.json: [{\"text\":\"Hello\",\"start\":0.2,\"end\":0.5}, ...], in seconds),\n"
            "which are grouped into captions. Times are those of the recording, before any edit.\n\n"
            "Examples:\n"
            "  lumenwhirl captions Demo.lumenwhirl --import talk.srt\n"
            "  lumenwhirl captions Demo.lumenwhirl --export talk.vtt");
    }

    void run() override {
        if (import_.empty() && export_.empty() && !clear_)
            throw UsageError("captions: nothing to do; give --import FILE, --export FILE or --clear");
        if (clear_ && !(import_.empty() && export_.empty()))
            throw UsageError("captions: --clear cannot be combined with --import or --export");
        const LumenwhirlPackage package = openPackage(package_);
        ProjectSettings project = package.readProject();
        if (clear_ && project.captions) {
            project.captions->cues.clear();
            package.writeProject(project);
        }
        if (!import_.empty()) {
            auto [cues, notices] = CaptionFile::read(import_);
            for (const std::string& notice : notices) tell(import_ + ": " + notice);
            if (cues.empty()) throw CommandError(import_ + ": contains no captions; --clear removes the old ones");
            if (!project.captions) project.captions.emplace();
            project.captions->enabled = true;
            project.captions->cues = std::move(cues);
            package.writeProject(project);
        }
        if (!export_.empty()) writeCaptions(project, export_, package);
    }

private:
    std::string package_, import_, export_;
    bool clear_ = false;
};

}  // namespace

std::unique_ptr<Command> makeCaptionsCommand(CLI::App& parser) {
    return std::make_unique<CaptionsCommand>(parser);
}

}  // namespace lumenwhirl
