#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/Interruption.h"
#include "Lumenwhirl/Commands/Options.h"
#include "Lumenwhirl/Commands/Progress.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <system_error>

namespace lumenwhirl {
namespace {

/// `lumenwhirl export`: turns a package into a finished video.
class ExportCommand final : public Command {
public:
    explicit ExportCommand(CLI::App& parser) : Command(parser) {
        Options::addPackage(parser, package_);
        parser
            .add_option("-o,--output", output_,
                        "The file to write; by default it has the package's name and is in the current folder")
            ->option_text("FILE");
        Options::add(
            parser, "--preset",
            [this](const std::string& name) { return Options::assign(preset_, presetFromRawValue(name)); },
            "one of " + Session::presetNames(),
            "What the video is for: web (H.264), social (HEVC), prores (further editing) or gif; by default the project's "
            "preset, or the one that FILE's ending asks for: .mp4 web, .mov prores, .gif gif")
            ->option_text("NAME");
        Options::addEncoder(parser, encoder_);
        parser.add_flag("--no-zoom", noZoom_, "Do not zoom in");
        Options::add(
            parser, "--progress",
            [this](const std::string& name) { return Options::assign(progress_, progressStyleFromName(name)); },
            "bar, json or none",
            "bar, json (a line of JSON per frame on standard output) or none; by default a bar on a terminal")
            ->option_text("HOW");
        parser.footer(
            "The file appears once it is complete. Ctrl-C stops the export and leaves nothing behind.\n\n"
            "Examples:\n"
            "  lumenwhirl export Demo.lumenwhirl\n"
            "  lumenwhirl export Demo.lumenwhirl -o talk.mp4 --preset social --no-zoom\n"
            "  lumenwhirl export Demo.lumenwhirl -o talk.mp4 --progress json | my-progress-window");
    }

    void run() override {
        checkExtension();
        const Session::ExportTask task = Session::prepareExport(
            openPackage(package_), {.preset = preset_,
                                    .destination = output_,
                                    .encoder = encoder_,
                                    .zoom = noZoom_ ? FrameStates::Zoom::off : FrameStates::Zoom::asProject});
        Interruption interruption;
        exportWithProgress(task, progress_, interruption);
    }

private:
    /// A name without an extension suits every preset.
    void checkExtension() const {
        const std::filesystem::path file = output_;
        std::error_code ignored;
        if (!file.has_extension() || std::filesystem::is_directory(file, ignored))
            return;  // refused later, as such
        const Preset fitting = Options::presetForExtensionOf("--output", file);
        if (preset_ && fileExtension(*preset_) != fileExtension(fitting))
            throw UsageError("--output: " + output_ + ": the preset " + std::string(rawValue(*preset_)) +
                             " makes a file that ends in ." + std::string(fileExtension(*preset_)));
    }

    std::string package_, output_;
    std::optional<Preset> preset_;
    EncoderChoice encoder_ = EncoderChoice::automatic;
    ProgressStyle progress_ = defaultProgressStyle();
    bool noZoom_ = false;
};

}  // namespace

std::unique_ptr<Command> makeExportCommand(CLI::App& parser) {
    return std::make_unique<ExportCommand>(parser);
}

}  // namespace lumenwhirl
