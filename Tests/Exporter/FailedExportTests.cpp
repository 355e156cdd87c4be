#include "Files/AtomicFile.h"
#include "Tests/Exporter/Recordings.h"
#include "Tests/Support/Audio.h"
#include "Tests/Support/Files.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <thread>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;

using Exporter::ExportError;
using Kind = ExportError::Kind;
using recordings::framesOf;
using recordings::plainProject;
using recordings::Recording;

constexpr int frames = 90;

class FailedExport : public recordings::Exporting {
protected:
    const fs::path destination = folder / "out.mp4";

    /// Three seconds with audio quiet enough to be amplified.
    void recordAll(double amplitude = 0.05) const {
        Recording recording = recordings::steady(frames, 30);
        recording.audio = AudioBuffer{{signals::sine(3 * recordings::sampleRate, 300, amplitude)}};
        record(recording);
    }
    /// One that changes nothing, and one that does.
    static std::vector<ProjectSettings> projects() {
        std::vector<ProjectSettings> all(2, plainProject(3));
        all[1].timeline.cuts = {{0.5, 1}};
        all[1].timeline.speedRanges = {{2, 2.5, 0.5}};
        return all;
    }
    void expectFailure(const std::optional<Failure>& failure, Kind kind, const fs::path& named) const {
        ASSERT_TRUE(failure);
        EXPECT_EQ(failure->kind, kind) << failure->message;
        EXPECT_NE(failure->message.find(named.string()), std::string::npos) << failure->message;
    }
};

TEST_F(FailedExport, aStopAtAnyFrameLeavesTheOldFile) {
    recordAll();
    writeFile(destination, "yesterday's");
    for (const ProjectSettings& settings : projects()) {
        for (const int last : {0, 1, 40, 90}) {  // both projects give 90 frames
            SCOPED_TRACE(last);
            std::stop_source stop;
            if (last == 0) stop.request_stop();
            std::int64_t done = 0;
            Exporter::Options options;
            options.progress = [&](Exporter::Progress now) {
                EXPECT_EQ(now.framesDone, done + 1);
                EXPECT_EQ(now.totalFrames, frames);
                done = now.framesDone;
                if (done == last) stop.request_stop();
            };
            expectFailure(failureOf(destination, settings, options, stop.get_token()), Kind::cancelled,
                          "cancelled");
            EXPECT_EQ(done, last);
            EXPECT_EQ(contentsOf(destination), "yesterday's");
            EXPECT_EQ(filesLeft(), (Names{"out.mp4", "recording.mp4"}));
        }
    }
}

TEST_F(FailedExport, destinationsThatCannotBeWrittenAreRefusedAtOnce) {
    recordAll();
    const ProjectSettings settings = plainProject(3);
    fs::create_directory(folder / "folder");
    fs::create_symlink(source, folder / "link.mp4");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    bool hasBegun = false;
    Exporter::Options options;
    options.progress = [&](Exporter::Progress) { hasBegun = true; };
    for (const fs::path& file :
         {folder / "folder", folder / "missing/out.mp4", source, folder / "link.mp4", folder / "pipe",
          folder / "recording.mp4/out.mp4", folder / std::string(300, 'x'), fs::path("/proc/out.mp4")})
        expectFailure(failureOf(file, settings, options), Kind::cannotCreateWriter, file);
    expectFailure(failureOf("", settings, options), Kind::cannotCreateWriter, "");
    EXPECT_FALSE(hasBegun);
    EXPECT_TRUE(fs::is_fifo(folder / "pipe"));
    EXPECT_EQ(filesLeft(), (Names{"folder", "link.mp4", "pipe", "recording.mp4"}));
    EXPECT_EQ(framesOf(source).size(), static_cast<std::size_t>(frames));
}

TEST_F(FailedExport, unusualNamesAreNamesLikeAnyOther) {
    record(recordings::steady(5, 30));
    const fs::path before = fs::current_path();
    fs::current_path(folder.path());
    for (const std::string& name :
         {std::string("http:out.mp4"), std::string("50% of: it?.mp4"), std::string("%03d"), std::string("-"),
          std::string("ü.mp4"), std::string(249, 'n')}) {
        exportTo(name, plainProject(0.2));
        EXPECT_EQ(framesOf(name).size(), 5U) << name;
    }
    fs::current_path(before);
    EXPECT_EQ(filesLeft().size(), 7U);
}

TEST_F(FailedExport, aRecordingDamagedInItsLaterHalfSaysWhereAndHowToGoOn) {
    recordAll();
    const std::string whole = contentsOf(source);
    std::string damaged = whole;
    for (std::size_t i = whole.size() / 2; i < whole.size(); ++i)
        damaged[i] = static_cast<char>(i * 2654435761U >> 24);
    for (const std::string& bytes : {damaged, whole.substr(0, whole.size() / 2)}) {
        writeFile(source, bytes);
        for (const ProjectSettings& settings : projects()) {
            const auto failure = failureOf(destination, settings);
            expectFailure(failure, Kind::writerFailed, source);
            EXPECT_TRUE(filesLeft() == Names{"recording.mp4"});
            // Such as "(after 1.23 s); restore the file, or trim the end off before that".
            const std::size_t at = failure->message.find("(after ");
            ASSERT_NE(at, std::string::npos) << failure->message;
            const double end = std::stod(failure->message.substr(at + 7));
            EXPECT_GT(end, 0.2);
            EXPECT_LT(end, 2.9);
            ProjectSettings trimmed = plainProject(3);
            trimmed.timeline.trimEnd = end;
            EXPECT_NO_THROW(exportTo(destination, trimmed)) << end;
            EXPECT_EQ(framesOf(destination).size(), std::floor(30 * end));
            fs::remove(destination);
        }
    }
}

// More video than waits in memory, and audio that takes longer: each becomes a file of its own first.
TEST_F(FailedExport, aStopWhilePictureAndAudioAreJoinedLeavesTheOldFileOrTheNew) {
    constexpr int noisyFrames = 600, fps = 60;
    Recording recording = recordings::steady(noisyFrames, fps);
    recording.frame = [](unsigned number) {
        Picture frame = recordings::flat(128);
        std::mt19937 random(number);
        std::uniform_int_distribution<int> codes(16, 235);
        std::generate_n(frame.mutablePlane(0), frame.height() * frame.stride(0), [&] { return codes(random); });
        return frame;
    };
    recording.audio = AudioBuffer{{signals::sine(60 * recordings::sampleRate, 300, 0.05)}};
    record(recording);
    const ProjectSettings settings = plainProject(noisyFrames / fps);
    const Exporter::Options options{.preset = Preset::prores, .progress = {}};
    bool wasSeen = false, isDone = false;  // joining takes a moment, and whoever watches may miss it
    for (int i = 0; i < 50 && !(wasSeen && isDone); ++i) {
        writeFile(destination, "yesterday's");
        std::stop_source stop;
        bool isJoining = false;
        std::jthread watcher([&](const std::stop_token& isOver) {
            while (!isOver.stop_requested() && !isJoining) {
                int hidden = 0;  // the picture alone, then with it the whole
                for (const std::string& name : filesLeft()) hidden += AtomicFile::isTemporaryName(name) ? 1 : 0;
                isJoining = hidden == 2;
            }
            if (isJoining && !wasSeen) stop.request_stop();
        });
        const auto failure = failureOf(destination, settings, options, stop.get_token());
        watcher.request_stop();
        watcher.join();
        if (failure) {
            EXPECT_EQ(failure->kind, Kind::cancelled) << failure->message;
            EXPECT_EQ(contentsOf(destination), "yesterday's");
        } else {
            EXPECT_EQ(framesOf(destination).size(), static_cast<std::size_t>(noisyFrames));
            EXPECT_EQ(readAll(destination).frames(), std::size_t{noisyFrames / fps} * recordings::sampleRate);
            isDone = wasSeen;
        }
        EXPECT_EQ(filesLeft(), (Names{"out.mp4", "recording.mp4"}));
        wasSeen = wasSeen || isJoining;
    }
    EXPECT_TRUE(wasSeen && isDone);
}

TEST_F(FailedExport, aRecordingWithoutFramesHasNoVideo) {
    for (const ProjectSettings& settings : projects()) {
        record(recordings::steady(0, 30));
        expectFailure(failureOf(destination, settings), Kind::noVideoTrack, source);
        EXPECT_THROW((void)Exporter::finishedFrame(source, events, settings, 1, FrameStates::Zoom::asProject),
                     ExportError);
        EXPECT_EQ(filesLeft(), (Names{"recording.mp4"}));
    }
}

TEST_F(FailedExport, aFullDiskLeavesNothingAtWhicheverStepItFills) {
    recordAll(0.4);  // loud enough: a louder copy that cannot be written is no failure
    const std::vector<ProjectSettings> both = projects();
    for (const auto& [settings, preset] : {std::pair{both[0], Preset::web},
                                           {both[1], Preset::web},
                                           {both[0], Preset::prores},
                                           {both[0], Preset::gif}}) {
        SCOPED_TRACE(rawValue(preset));
        const Exporter::Options options{.preset = preset, .progress = {}};
        exportTo(destination, settings, options);
        const auto size = static_cast<rlim_t>(fs::file_size(destination));
        fs::remove(destination);
        // The video alone is less than half of the file; the audio is made beside it, and then both are joined.
        // Sizes differ by some bytes with the moment at which the audio is there.
        for (const rlim_t limit : {rlim_t{500}, size / 4, size / 2, size * 3 / 4, size * 19 / 20}) {
            const auto saysWhy = [&, &settings = settings] {
                const auto failure = failureOf(destination, settings, options);
                return failure && failure->kind == Kind::writerFailed &&
                       failure->message.starts_with(destination.string() + ": ") &&
                       failure->message.find("File too large") != std::string::npos &&
                       failure->message.find(".lumenwhirl-") == std::string::npos &&
                       filesLeft() == Names{"recording.mp4"} && temporary.isEmpty();
            };
            EXPECT_TRUE(holdsOnFullDisk(limit, saysWhy)) << limit << " of " << size;
        }
        EXPECT_TRUE(holdsOnFullDisk(
            4 * size, [&, &settings = settings] { return !failureOf(destination, settings, options); }));
        EXPECT_TRUE(fs::remove(destination));
    }
}

}  // namespace
}  // namespace lumenwhirl
