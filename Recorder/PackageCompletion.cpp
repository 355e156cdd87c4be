#include "Recorder/PackageCompletion.h"

#include "Files/AtomicFile.h"
#include "Files/Descriptor.h"
#include "Media/MediaError.h"
#include "Media/Remuxer.h"
#include "Media/VideoReader.h"
#include "Recorder/Package/EventJournal.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
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
        throw MuxError(isVideoMissing ? MuxError::Kind::noVideoTrack : MuxError::Kind::exportFailed, error.what());
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

/// Held by one process or thread at a time, as several commands may open a package at once. Does nothing on a file
/// system without locks.
class Lock {
public:
    explicit Lock(const LumenwhirlPackage& package)
        : folder_(::open(package.url().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        while (folder_.isOpen() && ::flock(folder_.get(), LOCK_EX) != 0 && errno == EINTR) {
        }
    }

private:
    const Descriptor folder_;
};

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
