#include "Lumenwhirl/Commands/DemoCommand.h"

#include "Demo/Demo.h"
#include "Lumenwhirl/Commands/ExportJob.h"
#include "Lumenwhirl/Commands/Files.h"
#include "Lumenwhirl/Commands/Numbers.h"
#include "Lumenwhirl/Commands/PresetNames.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>

namespace lumenwhirl {
namespace {

constexpr double anything = 9007199254740992.0;  // 2^53; the generator knows its limits better
constexpr std::string_view packageName = "Demo.lumenwhirl";

Preset presetForEndingOf(const std::filesystem::path& file) {
    if (const auto preset = PresetNames::presetForEnding(file.extension().string())) return *preset;
    throw UsageError("--export: " + file.string() +
                     ": the name must end in .mp4, .mov or .gif, which tells the preset");
}

LumenwhirlPackage makeWithProgress(const std::filesystem::path& folder, const DemoOptions& options,
                                   Interruption& interruption) {
    ProgressDisplay display(defaultProgressStyle(), "Recording");
    const std::int64_t frames = std::llround(options.seconds * options.fps);
    const auto report = [&](double fraction) {
        (void)display.update(std::llround(fraction * static_cast<double>(frames)),
                             frames);  // a bar always arrives
    };
    try {
        return makeDemo(folder, options, report, interruption.token());
    } catch (const DemoError& error) {
        if (error.kind() == DemoError::Kind::invalidOptions) throw UsageError(error.what());
        if (error.kind() == DemoError::Kind::stopped)
            throw CommandError((folder / packageName).string() + ": cancelled; nothing was written");
        throw;
    }
}

}  // namespace

DemoCommand::DemoCommand(CLI::App& parser) : Command(parser) {
    parser.add_option("FOLDER", folder_, "Where to make Demo.lumenwhirl; this folder if left out")
        ->option_text(" ");
    Numbers::addDouble(parser, "--seconds", seconds_, {0, anything}, "How long it is (12)")->option_text("N");
    parser
        .add_option_function<std::string>(
            "--size",
            [this](const std::string& text) {
                const std::size_t x = text.find('x');
                const auto width = Numbers::parseInteger(text.substr(0, x));
                const auto height = Numbers::parseInteger(x == std::string::npos ? "" : text.substr(x + 1));
                if (!width || !height || *width < 1 || *height < 1 || *width > 1'000'000 || *height > 1'000'000)
                    throw CLI::ValidationError("--size", "\"" + text + "\" is no size such as 1920x1080");
                width_ = *width;
                height_ = *height;
            },
            "How large the picture is, in pixels (1920x1080)")
        ->option_text("WxH");
    Numbers::addInteger(parser, "--fps", fps_, {1, 1000}, "Frames a second (60)")->option_text("N");
    Numbers::addInteger(parser, "--seed", seed_, {0, anything}, "Another number, another recording (1)")
        ->option_text("N");
    parser
        .add_option("--export", export_,
                    "Make the finished video too; the ending tells the preset: .mp4 web, .mov ProRes, .gif")
        ->option_text("FILE");
    parser.footer(
        "Prints the path of the package. The same options and seed make the same recording.\n\n"
        "Examples:\n"
        "  lumenwhirl demo --export demo.mp4\n"
        "  lumenwhirl demo ~/Videos --seconds 30 --size 1280x720 --seed 7");
}

void DemoCommand::run() {
    const std::filesystem::path folder = folder_;
    Preset preset = Preset::web;
    if (!export_.empty()) {
        preset = presetForEndingOf(export_);
        const LumenwhirlPackage future(folder / packageName);
        Files::checkDestination(export_, &future);
    }
    const DemoOptions options{.seconds = seconds_,
                              .width = static_cast<int>(width_),
                              .height = static_cast<int>(height_),
                              .fps = static_cast<int>(fps_),
                              .seed = static_cast<std::uint64_t>(seed_)};
    Interruption interruption;
    const LumenwhirlPackage package = makeWithProgress(folder, options, interruption);
    std::puts(package.url().lexically_normal().c_str());
    std::fflush(stdout);  // seen before the export, which takes a while; a failure is met at the end
    if (export_.empty()) return;
    runExport({.package = package,
               .events = package.readEvents(),
               .project = package.readProject(),
               .preset = preset,
               .zoom = FrameStates::Zoom::asProject,
               .destination = export_,
               .progress = defaultProgressStyle()},
              interruption);
}

}  // namespace lumenwhirl
