#include "Demo/Demo.h"
#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/Interruption.h"
#include "Lumenwhirl/Commands/Options.h"
#include "Lumenwhirl/Commands/Progress.h"
#include "Lumenwhirl/Session/Packages.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>

namespace lumenwhirl {
namespace {

constexpr double anything = 9007199254740992.0;  // 2^53; the generator knows its own limits
constexpr std::string_view packageName = "Demo.lumenwhirl";

LumenwhirlPackage makeWithProgress(const std::filesystem::path& folder, const DemoOptions& options,
                                   Interruption& interruption) {
    ProgressDisplay display(defaultProgressStyle(), "Recording");
    const std::int64_t frames = std::llround(options.seconds * options.fps);
    const auto report = [&](double fraction) {
        // Only JSON can find no reader, and here it is a bar or nothing.
        (void)display.update(std::llround(fraction * static_cast<double>(frames)), frames);
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

/// `lumenwhirl demo`: a synthetic recording, and its finished video on request.
class DemoCommand final : public Command {
public:
    explicit DemoCommand(CLI::App& parser) : Command(parser) {
        parser.add_option("FOLDER", folder_, "Where to create Demo.lumenwhirl; the current folder by default")
            ->option_text(" ");
        Options::addNumber(parser, "--seconds", seconds_, {0, anything}, "Its duration (12)")->option_text("N");
        Options::add(
            parser, "--size", [this](const std::string& text) { return takeSize(text); },
            "a size such as 1920x1080", "The size of its video in pixels (1920x1080)")
            ->option_text("WxH");
        Options::addInteger(parser, "--fps", fps_, {1, 1000}, "Its frames per second (60)")->option_text("N");
        Options::addInteger(parser, "--seed", seed_, {.lowest = 0},
                            "A different number makes a different recording (1)")
            ->option_text("N");
        parser
            .add_option("--export", export_,
                        "Export it too; the extension chooses the preset: .mp4 web, .mov ProRes, .gif")
            ->option_text("FILE");
        parser.footer(
            "Prints the path of the package. The same options and seed make the same recording.\n\n"
            "Examples:\n"
            "  lumenwhirl demo --export demo.mp4\n"
            "  lumenwhirl demo ~/Videos --seconds 30 --size 1280x720 --seed 7");
    }

    void run() override {
        const std::filesystem::path folder = folder_;
        Preset preset = Preset::web;
        if (!export_.empty()) {
            preset = Options::presetForExtensionOf("--export", export_);
            const LumenwhirlPackage future(folder / packageName);
            Session::checkDestination(export_, &future);
        }
        const DemoOptions options{.seconds = seconds_,
                                  .width = static_cast<int>(width_),
                                  .height = static_cast<int>(height_),
                                  .fps = static_cast<int>(fps_),
                                  .seed = static_cast<std::uint64_t>(seed_)};
        Interruption interruption;
        const LumenwhirlPackage package = makeWithProgress(folder, options, interruption);
        std::puts(package.url().lexically_normal().c_str());
        std::fflush(
            stdout);  // to be seen before the export, which takes a while; a failure is reported at the end
        if (export_.empty()) return;
        exportWithProgress(Session::prepareExport(package, {.preset = preset, .destination = export_}),
                           defaultProgressStyle(), interruption);
    }

private:
    bool takeSize(const std::string& text) {
        constexpr std::int64_t largest = 1'000'000;
        const std::size_t x = text.find('x');
        const auto width = Options::parseInteger(text.substr(0, x));
        const auto height = Options::parseInteger(x == std::string::npos ? "" : text.substr(x + 1));
        if (!width || !height || *width < 1 || *height < 1 || *width > largest || *height > largest) return false;
        width_ = *width;
        height_ = *height;
        return true;
    }

    std::string folder_ = ".", export_;
    double seconds_ = 12;
    std::int64_t width_ = 1920, height_ = 1080, fps_ = 60, seed_ = 1;
};

}  // namespace

std::unique_ptr<Command> makeDemoCommand(CLI::App& parser) {
    return std::make_unique<DemoCommand>(parser);
}

}  // namespace lumenwhirl
