#include "Recorder/PackageCompletion.h"

#include "Files/AtomicFile.h"
#include "Files/Descriptor.h"
#include "Media/MediaError.h"
#include "Media/Remuxer.h"
#include "Media/VideoReader.h"
#include "Recorder/Package/EventJournal.h"
#include "Recorder/Platform/HostClock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

namespace lumenwhirl {

namespace Muxer {

void muxAudio(const std::filesystem::path& audio, const std::filesystem::path& video,
              std::optional<double> videoEnd) {
    try {
        AtomicFile joined(video, AtomicFile::Access::owner);
        Remuxer::mux(video, audio, joined.path(), videoEnd);
        joined.commit(AtomicFile::Durability::content);
    } catch (const MediaError& error) {
        if (error.kind() == MediaError::Kind::noAudioTrack) return;
        const bool isVideoMissing = error.kind() == MediaError::Kind::noVideoTrack;
        const std::filesystem::path file = AtomicFile::isPathOfOne(error.file()) ? video : error.file();
        throw MuxError(isVideoMissing ? MuxError::Kind::noVideoTrack : MuxError::Kind::exportFailed,
                       FileError(file, error.problem()).what());
    } catch (const FileError& error) {
        throw MuxError(MuxError::Kind::exportFailed, error.what());
    }
}

}  // namespace Muxer

namespace PackageCompletion {
namespace {

namespace fs = std::filesystem;
using Error = LumenwhirlPackage::Error;

constexpr double lastFrameDuration = 1.0 / 60;  // seconds

bool hasMicrophoneFile(const LumenwhirlPackage& package) {
    std::error_code error;
    const std::uintmax_t bytes = fs::file_size(package.micURL(), error);
    return !error && bytes >= leastMicrophoneBytes;
}

/// Turns a fragmented file into a plain one. Where that fails, as on a full disk, the fragments stay; every player
/// takes them.
void giveIndex(const fs::path& file) {
    try {
        Remuxer::complete(file, lastFrameDuration);
    } catch (const MediaError&) {
    }
}

/// Why the microphone's audio could not be joined with the video; the recording does without it then.
std::optional<std::string> joinMicrophone(const LumenwhirlPackage& package, double duration) {
    try {
        giveIndex(package.micURL());
        Muxer::muxAudio(package.micURL(), package.recordingURL(), duration + lastFrameDuration);
        return std::nullopt;
    } catch (const Muxer::MuxError& error) {
        return error.what();
    }
}

/// Who has locked a file, to show.
std::string holderOf(int descriptor) {
    struct stat file {};
    ::fstat(descriptor, &file);
    // 7: FLOCK  ADVISORY  WRITE 4711 08:01:131 0 EOF
    std::array<char, 64> place{};
    std::snprintf(place.data(), place.size(), "%02x:%02x:%ju", major(file.st_dev), minor(file.st_dev),
                  static_cast<std::uintmax_t>(file.st_ino));
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number, kind, advisory, access, process, where, name;
        words >> number >> kind >> advisory >> access >> process >> where;
        if (kind != "FLOCK" || where != place.data()) continue;
        std::getline(std::ifstream("/proc/" + process + "/comm"), name);
        if (!name.empty()) return name + " (process " + process + ")";
    }
    return "another program";
}

/// Held by one process or thread at a time, as several commands may open a package at once. Does nothing on a file
/// system without locks.
class Lock {
public:
    explicit Lock(const LumenwhirlPackage& package)
        : folder_(::open(package.url().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        SystemClock clock;
        const double deadline = clock.now() + longestWait;
        while (folder_.isOpen() && ::flock(folder_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            if (clock.now() > deadline)
                throw Error(Error::Kind::cannotRead, package.url(),
                            "is in use by " + holderOf(folder_.get()) + "; try again when that is done");
            clock.sleep(pollInterval, {});
        }
    }

private:
    static constexpr double longestWait = 2, pollInterval = 0.02;  // seconds
    const Descriptor folder_;
};

/// Where the journal was lost: the events if they had been written, else none.
EventLog logWithoutJournal(const LumenwhirlPackage& package, const VideoInfo& video) {
    try {
        return package.readEvents();
    } catch (const Error&) {
        return {.recording = {.display = {.pixelWidth = video.width,
                                          .pixelHeight = video.height,
                                          .pointWidth = video.width,
                                          .pointHeight = video.height}}};
    }
}

/// Removes the files that would have replaced others if their writer had not been killed.
void removeLeftovers(const LumenwhirlPackage& package) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(package.url(), error)) {
        if (!AtomicFile::isTemporaryName(entry.path().filename().string())) continue;
        std::error_code ignored;  // it only takes up space
        fs::remove(entry.path(), ignored);
    }
}

}  // namespace

std::optional<std::string> complete(const LumenwhirlPackage& package, const Recorded& recorded) {
    const bool hasMicrophone = recorded.recordedMicrophone && hasMicrophoneFile(package);
    std::optional<std::string> microphoneFailure;
    if (hasMicrophone) microphoneFailure = joinMicrophone(package, recorded.duration);
    const bool isMicrophoneMuxed = hasMicrophone && !microphoneFailure;
    if (!isMicrophoneMuxed) giveIndex(package.recordingURL());
    package.writeEvents(recorded.log);
    ProjectSettings project = ProjectSettings::makeDefault(recorded.duration, false, false);
    project.audio = {.embedded = isMicrophoneMuxed || recorded.recordedSystemAudio,
                     .hasMic = isMicrophoneMuxed,
                     .hasSystem = recorded.recordedSystemAudio};
    package.writeProject(project);
    EventJournal::remove(package.url());
    return microphoneFailure;
}

std::optional<Recovery> recover(const LumenwhirlPackage& package) {
    std::error_code unknown;  // then opening says why
    if (!fs::exists(package.url() / EventJournal::fileName, unknown) && !unknown) return std::nullopt;
    const Lock lock(package);
    if (EventJournal::isBeingWritten(package.url()))
        throw Error(Error::Kind::cannotRead, package.url(),
                    "is being recorded right now; stop the recording first");
    std::optional<EventLog> log = EventJournal::read(package.url());
    if (!log) return std::nullopt;
    removeLeftovers(package);
    std::optional<VideoInfo> video;
    try {
        // First, as only then does the file say how long it is.
        Remuxer::complete(package.recordingURL(), lastFrameDuration);
        video = VideoReader(package.recordingURL()).info();
        if (video->duration <= 0)
            throw MediaError(MediaError::Kind::damaged, package.recordingURL(), "it has no frame");
    } catch (const MediaError& error) {
        throw Error(Error::Kind::cannotRead, package.url(),
                    error.kind() == MediaError::Kind::cannotWrite
                        ? std::string("the recording was cut short and cannot be completed: ") + error.what()
                        : "the recording was cut short before anything could be saved; record again");
    }
    if (log->recording.display.pixelWidth == 0) log = logWithoutJournal(package, *video);
    const bool hasMicrophone = hasMicrophoneFile(package);
    Recorded recorded{.log = std::move(*log),
                      .duration = std::max(0.0, video->duration - lastFrameDuration),
                      // With a microphone no other audio is recorded.
                      .recordedSystemAudio = video->hasAudio && !hasMicrophone,
                      .recordedMicrophone = hasMicrophone};
    const std::optional<std::string> microphoneFailure = complete(package, recorded);
    return Recovery{recorded.duration, microphoneFailure};
}

}  // namespace PackageCompletion

}  // namespace lumenwhirl
