#include "Lumenwhirl/Commands/RecordCommand.h"

#include "Lumenwhirl/Commands/CommandLine.h"
#include "Lumenwhirl/Commands/EncoderOption.h"
#include "Lumenwhirl/Commands/Interruption.h"
#include "Lumenwhirl/Commands/Numbers.h"
#include "Lumenwhirl/Commands/RecordingLine.h"
#include "Lumenwhirl/Commands/RecordingNames.h"
#include "Lumenwhirl/Commands/StatusLine.h"
#include "Recorder/Backends/Desktop.h"
#include "Recorder/GlobalHotKey.h"
#include "Recorder/RecordingController.h"
#include "Recorder/ShareableContent.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace lumenwhirl {
namespace {

constexpr double longestRecording = 48 * 3600;  // seconds, as long as an export takes

/// Decimal, or hexadecimal as X11's own programs print it.
std::optional<std::uint32_t> parseIdentifier(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

void addIdentifier(CLI::App& parser, const std::string& name, std::optional<std::uint32_t>& target,
                   const std::string& description) {
    parser
        .add_option_function<std::string>(
            name,
            [&target, name](const std::string& text) {
                target = parseIdentifier(text);
                if (!target)
                    throw CLI::ValidationError(name, "\"" + text + "\" is no identifier such as 41943047");
            },
            description)
        ->option_text("ID");
}

template <class Target>
Target withIdentifier(std::vector<Target> targets, std::uint32_t id, const char* kind) {
    for (Target& target : targets)
        if (target.id == id) return std::move(target);
    throw CommandError(std::string("there is no ") + kind + " " + std::to_string(id) +
                       " that can be recorded; \"lumenwhirl targets\" lists them");
}

void tell(const std::string& line) {
    std::fprintf(stderr, "lumenwhirl: %s\n", oneLine(line).c_str());
}

}  // namespace

RecordCommand::RecordCommand(CLI::App& parser) : Command(parser) {
    Numbers::addDouble(parser, "--seconds", seconds_, {0.1, longestRecording}, "Stop after so long")
        ->option_text("N");
    addIdentifier(parser, "--display", display_, "The display to record; the primary one if left out");
    addIdentifier(parser, "--window", window_, "The window to record, alone, even where others cover it");
    parser
        .add_option_function<std::string>(
            "--mic",
            [this](const std::string& device) {
                wantsMicrophone_ = true;
                microphone_ = device;
            },
            "Record a voice in place of the computer's sound; the default microphone if none is named")
        ->expected(0, 1)
        ->option_text("[DEVICE]");
    parser.add_flag("--no-system-audio", noSystemAudio_, "Leave out the computer's sound");
    parser
        .add_option("--folder", folder_,
                    "Where to put the recording; Lumenwhirl in your folder of videos if left out")
        ->option_text("DIR");
    parser.add_option("--name", name_, "What to call it; date and time if left out")->option_text("NAME");
    parser
        .add_option_function<std::string>(
            "--codec",
            [this](const std::string& name) {
                if (name != "hevc" && name != "h264")
                    throw CLI::ValidationError("--codec", "\"" + name + "\" is none of hevc, h264");
                codec_ = name == "h264" ? VideoCodec::h264 : VideoCodec::hevc;
            },
            "hevc, or h264 for machines that drop frames with it (hevc)")
        ->option_text("NAME");
    addEncoderOption(parser, encoder_);
    parser.footer(
        "Records until Ctrl-C, Super+Shift+2, SIGTERM or the end of --seconds, and prints the path of the package "
        "as "
        "soon as it\nhas begun. Nothing is lost when the machine fails meanwhile: the next command that opens the "
        "package completes it.\n\n"
        "Examples:\n"
        "  lumenwhirl record\n"
        "  lumenwhirl record --seconds 30 --mic --folder . --name Talk\n"
        "  lumenwhirl record --window 41943047 --no-system-audio");
}

CaptureTarget RecordCommand::chooseTarget(ScreenSystem& screen) const {
    if (display_ && window_) throw UsageError("--display and --window exclude each other");
    if (window_) return withIdentifier(ShareableContent::windows(screen, std::nullopt), *window_, "window");
    std::vector<CaptureDisplay> displays = ShareableContent::displays(screen);
    if (display_) return withIdentifier(std::move(displays), *display_, "display");
    if (displays.empty()) throw CommandError("this desktop has no display");
    const auto primary = std::find_if(displays.begin(), displays.end(),
                                      [](const CaptureDisplay& display) { return display.isPrimary; });
    return primary != displays.end() ? *primary : displays.front();
}

void RecordCommand::run() {
    if (display_ && window_) throw UsageError("--display and --window exclude each other");
    const std::filesystem::path folder =
        folder_.empty() ? RecordingNames::defaultFolder() : std::filesystem::path(folder_);
    const std::string name = name_.empty() ? RecordingNames::defaultName(std::time(nullptr)) : name_;

    Interruption interruption;
    SystemClock clock;
    const std::unique_ptr<ScreenSystem> screen = Desktop::connectToScreen();
    const std::unique_ptr<AudioSystem> audio = Desktop::makeAudioSystem();
    const RecordingOptions options{
        .target = chooseTarget(*screen),
        .captureMic = wantsMicrophone_,
        .micDeviceID = microphone_.empty() ? std::nullopt : std::optional(microphone_),
        .captureSystemAudio = !noSystemAudio_,
        .codec = codec_,
        .encoder = encoder_,
    };
    // A second recording of one name would take the first one's place.
    const std::filesystem::path future = LumenwhirlPackage::pathFor(name, folder);
    if (std::error_code error; std::filesystem::exists(future, error))
        throw CommandError(future.string() + ": exists already; choose another name");

    RecordingController controller(*screen, *audio, clock);
    const LumenwhirlPackage package = controller.start(options, name, folder, interruption.token());
    {
        const GlobalHotKey stopKey = GlobalHotKey::stopRecording(*screen, [&] { interruption.requestStop(); });
        std::puts(package.url().lexically_normal().c_str());
        // Now, so that whoever reads it knows where the recording is, and that it has begun and can be stopped.
        std::fflush(stdout);
        for (const std::string& notice : controller.notices()) tell(notice);
        awaitEnd(controller, interruption);
    }
    const std::optional<std::string> reason = controller.endReason(), failure = controller.failure();
    const RecordingController::Progress progress = controller.progress();
    (void)controller.stop();
    for (const std::string& notice : controller.notices()) tell(notice);
    if (reason) tell("the recording has ended: " + *reason);
    if (StatusLine::isWatched() || progress.file.framesDropped > 0) {
        tell("recorded " + durationText(std::floor(progress.seconds)) + ", " +
             std::to_string(progress.file.framesWritten) + " frames, " +
             std::to_string(progress.file.framesDropped) + " dropped" + adviceFor(progress.file));
    }
    if (failure) throw CommandError(*failure + "; the recording ends there");
}

/// What would help against many dropped pictures.
std::string RecordCommand::adviceFor(const RecordingFile::Progress& progress) const {
    const bool areMany = progress.framesDropped * 20 > progress.framesWritten;
    return areMany && codec_ == VideoCodec::hevc ? "; --codec h264 takes a quarter of the work" : "";
}

/// Returns when the recording is to be stopped, whoever asks for it.
void RecordCommand::awaitEnd(const RecordingController& controller, Interruption& interruption) const {
    constexpr double redrawInterval = 0.1;  // seconds
    const bool hasAudio = wantsMicrophone_ || !noSystemAudio_;
    SystemClock clock;
    StatusLine line;
    bool isSilenceTold = false;
    for (;;) {
        if (const auto silence = controller.audioFailure(); silence && !isSilenceTold) {
            isSilenceTold = true;
            line.clear();
            tell("the recording goes on without sound: " + *silence);
        }
        if (interruption.token().stop_requested() || controller.endReason() || controller.failure()) return;
        const RecordingController::Progress progress = controller.progress();
        const double left = seconds_ > 0 ? seconds_ - progress.seconds : redrawInterval;
        if (left <= 0) return;
        if (StatusLine::isWatched())
            line.draw(recordingLine(progress, hasAudio, StatusLine::symbols(), StatusLine::columns()));
        clock.sleep(std::min(left, redrawInterval), interruption.token());
    }
}

}  // namespace lumenwhirl
