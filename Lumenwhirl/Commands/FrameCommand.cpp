#include "Compositor/PngFile.h"
#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/Options.h"
#include "Lumenwhirl/Commands/Terminal.h"
#include "Lumenwhirl/Session/Export.h"

#include <CLI/CLI.hpp>

namespace lumenwhirl {
namespace {

/// `lumenwhirl frame`: one finished frame as an image.
class FrameCommand final : public Command {
public:
    explicit FrameCommand(CLI::App& parser) : Command(parser) {
        Options::addPackage(parser, package_);
        Options::addNumber(parser, "--at", at_, {},
                           "The time in the finished video, in seconds; the first or last frame if it is outside")
            ->required()
            ->option_text("T");
        parser.add_option("-o,--output", output_, "The image to write (PNG)")->required()->option_text("FILE.png");
        parser.add_flag("--no-zoom", noZoom_, "Do not zoom in");
        parser.footer(
            "Example:\n"
            "  lumenwhirl frame Demo.lumenwhirl --at 2.5 -o frame.png");
    }

    void run() override {
        const LumenwhirlPackage package = openPackage(package_);
        Session::checkDestination(output_, &package);
        writePng(
            Session::finishedFrame(package, at_, noZoom_ ? FrameStates::Zoom::off : FrameStates::Zoom::asProject),
            output_);
    }

private:
    std::string package_, output_;
    double at_ = 0;
    bool noZoom_ = false;
};

}  // namespace

std::unique_ptr<Command> makeFrameCommand(CLI::App& parser) {
    return std::make_unique<FrameCommand>(parser);
}

}  // namespace lumenwhirl
