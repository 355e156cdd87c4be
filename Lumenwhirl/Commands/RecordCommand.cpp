#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/Interruption.h"
#include "Lumenwhirl/Commands/Options.h"
#include "Lumenwhirl/Commands/Terminal.h"
#include "Lumenwhirl/Session/Recording.h"
#include "Lumenwhirl/Session/Texts.h"
#include "Recorder/Backends/Desktop.h"
#include "Recorder/ShareableContent.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace lumenwhirl {
namespace {

constexpr double longestRecording = 48 * 3600;  // seconds; no longer one can be exported

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
    Options::add(
        parser, name,
        [&target](const std::string& text) { return Options::assign(target, parseIdentifier(text)); },
        "an id such as 41943047", description)
        ->option_text("ID");
}

std::optional<VideoCodec> codecFromName(std::string_view name) {
    if (name == "hevc") return VideoCodec::hevc;
    if (name == "h264") return VideoCodec::h264;
    return std::nullopt;
}

template <class Target>
Target withIdentifier(std::vector<Target> targets, std::uint32_t id, const char* kind) {
    for (Target& target : targets)
        if (target.id == id) return std::move(target);
    throw CommandError(std::string("there is no ") + kind + " " + std::to_string(id) +
                       " that can be recorded; \"lumenwhirl targets\" lists them");
}

/// `lumenwhirl record`: records a display or a window with its audio and the user's input into a package.
class RecordCommand final : public Command {
public:
    explicit RecordCommand(CLI::App& parser) : Command(parser) {
        Options::addNumber(parser, "--seconds", seconds_, {0.1, longestRecording}, "Stop after this time")
            ->option_text("N");
        addIdentifier(parser, "--display", display_, "The display to record; the primary one by default");
        addIdentifier(parser, "--window", window_, "The window to record, without those that cover it");
        parser
            .add_option_function<std::string>(
                "--mic",
                [this](const std::string& device) {
                    wantsMicrophone_ = true;
                    microphone_ = device;
                },
                "Record a microphone instead of the computer's audio; the default one if none is named")
            ->expected(0, 1)
            ->option_text("[DEVICE]");
        parser.add_flag("--no-system-audio", noSystemAudio_, "Do not record the computer's audio");
        parser
            .add_option("--folder", folder_,
                        "Where to put the recording; Lumenwhirl in your folder for videos by default")
            ->option_text("DIR");
        parser.add_option("--name", name_, "The recording's name; date and time by default")->option_text("NAME");
        Options::add(
            parser, "--codec",
            [this](const std::string& name) { return Options::assign(codec_, codecFromName(name)); },
            "hevc or h264", "hevc, the default, or h264, for computers that drop frames with hevc")
            ->option_text("NAME");
        Options::addEncoder(parser, encoder_);
        parser.footer(
            "Records until Ctrl-C, Super+Shift+2, SIGTERM or the end of --seconds. Prints the path of the package once it has\n"
            "begun. A crash loses nothing: the next command that opens the package completes it.\n\n"
            "Examples:\n"
            "  lumenwhirl record\n"
            "  lumenwhirl record --seconds 30 --mic --folder . --name Talk\n"
            "  lumenwhirl record --window 41943047 --no-system-audio");
    }

    void run() override {
        if (display_ && window_) throw UsageError("--display and --window exclude each other");
        Interruption interruption;
        SystemClock clock;
        const std::unique_ptr<ScreenSystem> screen = Desktop::connectToScreen();
        const std::unique_ptr<AudioSystem> audio = Desktop::makeAudioSystem(interruption.token());
        const Session::RecordingRequest request{
            .options = {.target = chooseTarget(*screen),
                        .captureMic = wantsMicrophone_,
                        .micDeviceID = microphone_.empty() ? std::nullopt : std::optional(microphone_),
                        .captureSystemAudio = !noSystemAudio_,
                        .codec = codec_,
                        .encoder = encoder_},
            .name = name_,
            .folder = folder_,
            .onStopKey = [&] { interruption.requestStop(); },
        };
        Session::Recording recording(*screen, *audio, clock, request, interruption.token());
        std::puts(recording.package().url().lexically_normal().c_str());
        std::fflush(stdout);  // tells a script where the recording is, and that it has begun and can be stopped
        for (const std::string& notice : recording.notices()) tell(notice);
        awaitEnd(recording, clock, interruption.token());

        const Session::Recording::Result result = recording.stop();
        for (const std::string& notice : result.notices) tell(notice);
        const RecordingFile::Progress& file = result.progress.file;
        if (StatusLine::isWatched() || file.framesDropped > 0) {
            tell("recorded " + durationText(std::floor(result.progress.seconds)) + ", " +
                 std::to_string(file.framesWritten) + " frames, " + std::to_string(file.framesDropped) +
                 " dropped" + adviceFor(file));
        }
        if (result.failure) throw CommandError(*result.failure);
    }

private:
    [[nodiscard]] CaptureTarget chooseTarget(ScreenSystem& screen) const {
        if (window_) return withIdentifier(ShareableContent::windows(screen, std::nullopt), *window_, "window");
        if (display_) return withIdentifier(ShareableContent::displays(screen), *display_, "display");
        return Session::primaryDisplay(screen);
    }

    /// What helps if many frames were dropped.
    [[nodiscard]] std::string adviceFor(const RecordingFile::Progress& progress) const {
        const bool areMany = progress.framesDropped * 20 > progress.framesWritten;
        return areMany && codec_ == VideoCodec::hevc ? "; --codec h264 needs a quarter of the work" : "";
    }

    /// Returns when the recording should be stopped, for whatever reason.
    void awaitEnd(const Session::Recording& recording, HostClock& clock, const std::stop_token& stop) const {
        constexpr double redrawInterval = 0.1;  // seconds
        const bool hasAudio = wantsMicrophone_ || !noSystemAudio_;
        StatusLine line;
        bool isAudioNoticeShown = false;
        for (;;) {
            if (const auto notice = recording.audioNotice(); notice && !isAudioNoticeShown) {
                isAudioNoticeShown = true;
                line.clear();
                tell(*notice);
            }
            if (stop.stop_requested() || recording.hasEnded()) return;
            const RecordingController::Progress progress = recording.progress();
            const double left = seconds_ > 0 ? seconds_ - progress.seconds : redrawInterval;
            if (left <= 0) return;
            if (StatusLine::isWatched())
                line.draw(recordingLine(progress, hasAudio, StatusLine::symbols(), StatusLine::columns()));
            clock.sleep(std::min(left, redrawInterval), stop);
        }
    }

    double seconds_ = 0;  // 0: until stopped
    std::optional<std::uint32_t> display_, window_;
    bool wantsMicrophone_ = false, noSystemAudio_ = false;
    std::string microphone_;  // the default one if empty
    std::string folder_, name_;
    VideoCodec codec_ = VideoCodec::hevc;
    EncoderChoice encoder_ = EncoderChoice::automatic;
};

}  // namespace

std::unique_ptr<Command> makeRecordCommand(CLI::App& parser) {
    return std::make_unique<RecordCommand>(parser);
}

}  // namespace lumenwhirl
