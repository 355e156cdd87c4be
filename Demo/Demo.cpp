#include "Demo/Demo.h"

#include "Demo/DemoScript.h"
#include "Demo/DemoSpeech.h"
#include "Demo/DesktopPicture.h"
#include "Demo/FrameMaker.h"
#include "Media/VideoWriter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <random>
#include <system_error>
#include <utility>
#include <vector>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;
using demo::DemoScript;

constexpr std::string_view packageName = "Demo.lumenwhirl";

void check(const DemoOptions& options) {
    const auto refuse = [](const std::string& problem) {
        throw DemoError(DemoError::Kind::invalidOptions, problem);
    };
    const auto size = std::to_string(options.width) + "x" + std::to_string(options.height);
    if (!(options.seconds >= 1 && options.seconds <= 36000)) refuse("a demo lasts from 1 to 36000 seconds");
    const auto isSide = [](int side) { return side >= 160 && side <= 8192; };
    if (!isSide(options.width) || !isSide(options.height))
        refuse("a demo of " + size + " cannot be made: both sides must lie in 160 to 8192 pixels");
    if (options.width % 2 != 0 || options.height % 2 != 0)
        refuse("a demo of " + size + " cannot be made: both sides must be even");
    if (options.width > 4 * options.height || options.height > 4 * options.width)
        refuse("a demo of " + size + " cannot be made: one side is more than four times the other");
    if (options.fps < 1 || options.fps > 240) refuse("a demo has from 1 to 240 frames a second");
}

bool isReplaceable(const fs::path& package) {
    if (fs::is_symlink(package) || !fs::is_directory(package)) return false;
    if (fs::is_empty(package)) return true;
    constexpr std::array names{LumenwhirlPackage::recordingName, LumenwhirlPackage::eventsName,
                               LumenwhirlPackage::projectName};
    return std::any_of(names.begin(), names.end(),
                       [&package](std::string_view name) { return fs::exists(package / name); });
}

/// The folders that had to be made for the package, and the hidden one it grows in; removed again unless kept.
class Workplace {
public:
    explicit Workplace(const fs::path& folder) {
        for (fs::path missing = fs::absolute(folder).lexically_normal(); !missing.empty() && !fs::exists(missing);
             missing = missing.parent_path())
            made_.push_back(missing);
        // Two demos made at once in one folder must not meet.
        name_ = ".Demo-" + std::to_string(std::random_device{}());
        package_ = folder / (name_ + ".lumenwhirl");
    }
    ~Workplace() {
        if (isKept_) return;
        std::error_code ignored;  // an error is under way already
        fs::remove_all(package_, ignored);
        for (const fs::path& folder : made_) fs::remove(folder, ignored);  // the innermost first, empty ones only
    }
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;

    [[nodiscard]] const std::string& name() const { return name_; }

    /// Puts the finished package to its place.
    void moveTo(const fs::path& destination) {
        const fs::path old = destination.parent_path() / (name_ + "-old");
        const bool replaces = fs::exists(fs::symlink_status(destination));
        if (replaces) fs::rename(destination, old);
        std::error_code failure;
        fs::rename(package_, destination, failure);
        if (failure) {
            if (replaces) fs::rename(old, destination);
            throw fs::filesystem_error("cannot rename", package_, destination, failure);
        }
        isKept_ = true;
        std::error_code ignored;  // the new demo is complete, whatever remains of the old one
        if (replaces) fs::remove_all(old, ignored);
    }

private:
    std::string name_;
    fs::path package_;
    std::vector<fs::path> made_;
    bool isKept_ = false;
};

VideoSettings videoSettings(const DemoOptions& options) {
    VideoSettings settings;
    settings.codec = VideoCodec::hevc;
    settings.width = options.width;
    settings.height = options.height;
    settings.frameRate = {options.fps, 1};
    settings.timeBase = {1, options.fps};
    // 25 Mbit/s at 1080p60 at most: small text stays crisp, also while something moves.
    const double bits = 0.2 * options.width * options.height * options.fps;
    settings.bitRate = static_cast<std::int64_t>(std::clamp(bits, 1e6, 120e6));
    settings.keyFrameInterval = 2 * options.fps;
    settings.software.preset = "ultrafast";
    return settings;
}

void record(const LumenwhirlPackage& package, const DemoOptions& options, std::int64_t frameCount,
            const DemoScript& script, const std::function<void(double)>& progress, const std::stop_token& stop) {
    demo::Desktop desktop(demo::Layout(options.width, options.height));
    demo::LogPlayer player(script.log, desktop);
    demo::DesktopPicture picture(options.width, options.height, options.seed);
    demo::FrameMaker frames(options.width, options.height);
    demo::DemoSpeech speech(script, options.seed);
    constexpr int rate = demo::DemoSpeech::sampleRate;
    VideoWriter writer(package.recordingURL(), videoSettings(options), AudioSettings{rate, 1, 96000});

    std::vector<float> audio;
    std::int64_t samplesDone = 0;
    double told = -1;
    for (std::int64_t i = 0; i < frameCount; ++i) {
        if (stop.stop_requested()) throw DemoError(DemoError::Kind::stopped, "making the demo was stopped");
        const double time = static_cast<double>(i) / options.fps;
        player.advance(time);
        const cairo_region_t* const changed = picture.update(desktop, time);
        writer.write(frames.make(picture.surface(), changed), i);

        const std::int64_t samples = (i + 1) * rate / options.fps - samplesDone;
        audio.resize(static_cast<std::size_t>(samples));
        speech.render(audio);
        const float* const channel = audio.data();
        writer.writeAudio(&channel, audio.size());
        samplesDone += samples;

        const double fraction = static_cast<double>(i + 1) / static_cast<double>(frameCount);
        if (progress && (fraction >= told + 0.005 || i + 1 == frameCount)) progress(told = fraction);
    }
    writer.finish();
}

ProjectSettings makeProject(double duration, const DemoScript& script) {
    ProjectSettings project = ProjectSettings::makeDefault(duration, false, false);
    project.style.padding = 64;
    project.style.cornerRadius = 20;
    project.style.shadow = "medium";
    project.keystrokes = KeystrokeSettings{true, false};
    // An opaque plate: on a board full of text a translucent one is hard to read.
    project.captions = CaptionSettings{true, script.cues, {.backgroundColor = "#16181DF5"}};
    project.audio = AudioInfo{true, true, false};
    return project;
}

}  // namespace

LumenwhirlPackage makeDemo(const fs::path& folder, const DemoOptions& options,
                           const std::function<void(double fraction)>& progress, const std::stop_token& stop) {
    check(options);
    const fs::path destination = folder / packageName;
    try {
        if (fs::exists(fs::symlink_status(destination)) && !isReplaceable(destination))
            throw DemoError(DemoError::Kind::cannotWrite, destination.string() +
                                                              ": is there and holds no recording; "
                                                              "move it away or choose another folder");
        Workplace workplace(folder);
        const LumenwhirlPackage package = LumenwhirlPackage::create(workplace.name(), folder);
        const auto frameCount = std::max<std::int64_t>(1, std::llround(options.seconds * options.fps));
        const double duration = static_cast<double>(frameCount) / options.fps;
        const DemoScript script =
            demo::writeDemoScript(duration, options.width, options.height, options.fps, options.seed);
        record(package, options, frameCount, script, progress, stop);
        fs::permissions(package.recordingURL(), fs::perms::owner_read | fs::perms::owner_write);
        package.writeEvents(script.log);
        package.writeProject(makeProject(duration, script));
        workplace.moveTo(destination);
    } catch (const fs::filesystem_error& error) {
        throw DemoError(DemoError::Kind::cannotWrite,
                        destination.string() + ": cannot be written: " + error.code().message());
    }
    return LumenwhirlPackage(destination);
}

}  // namespace lumenwhirl
