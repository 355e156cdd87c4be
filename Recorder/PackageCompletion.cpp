#include "Recorder/PackageCompletion.h"

#include "Media/MediaError.h"
#include "Media/Remuxer.h"
#include "Media/ReplacementFile.h"
#include "Media/VideoReader.h"
#include "Recorder/Muxer.h"
#include "Recorder/Package/EventJournal.h"

#include <algorithm>
#include <system_error>

namespace lumenwhirl::PackageCompletion {
namespace {

namespace fs = std::filesystem;
using Error = LumenwhirlPackage::Error;

constexpr double lastPicture = 1.0 / 60;  // seconds that it is shown

bool hasMicrophoneFile(const LumenwhirlPackage& package) {
    std::error_code error;
    const std::uintmax_t bytes = fs::file_size(package.micURL(), error);
    return !error && bytes >= leastMicrophoneBytes;
}

/// Pieces become a plain file. Where that fails, as on a full disk, the pieces are kept, which every player takes.
void giveIndex(const fs::path& file) {
    try {
        Remuxer::complete(file, lastPicture);
    } catch (const MediaError&) {
    }
}

/// False where the microphone's sound could not be laid under the picture: the recording does without it then.
bool layMicrophone(const LumenwhirlPackage& package, double duration) {
    try {
        giveIndex(package.micURL());
        Muxer::muxAudio(package.micURL(), package.recordingURL(), duration + lastPicture);
        return true;
    } catch (const Muxer::MuxError&) {
        return false;
    }
}

/// Of a killed muxer.
void removeLeftovers(const LumenwhirlPackage& package) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(package.url(), error)) {
        if (!entry.path().filename().string().starts_with(ReplacementFile::namePrefix)) continue;
        std::error_code ignored;  // it only takes up room
        fs::remove(entry.path(), ignored);
    }
}

}  // namespace

void complete(const LumenwhirlPackage& package, const Recorded& recorded) {
    const bool isMicrophoneMuxed =
        recorded.recordedMicrophone && hasMicrophoneFile(package) && layMicrophone(package, recorded.duration);
    if (!isMicrophoneMuxed) giveIndex(package.recordingURL());
    package.writeEvents(recorded.log);
    ProjectSettings project = ProjectSettings::makeDefault(recorded.duration, false, false);
    project.audio = {.embedded = isMicrophoneMuxed || recorded.recordedSystemSound,
                     .hasMic = isMicrophoneMuxed,
                     .hasSystem = recorded.recordedSystemSound};
    package.writeProject(project);
    EventJournal::remove(package.url());
}

std::optional<Recovery> recover(const LumenwhirlPackage& package) {
    if (EventJournal::isBeingWritten(package.url()))
        throw Error(Error::Kind::cannotRead, package.url(),
                    "is being recorded right now; stop the recording first");
    std::optional<EventLog> log = EventJournal::read(package.url());
    if (!log) return std::nullopt;
    removeLeftovers(package);
    std::optional<VideoInfo> video;
    try {
        // First, as only then the file tells how long it is.
        Remuxer::complete(package.recordingURL(), lastPicture);
        video = VideoReader(package.recordingURL()).info();
    } catch (const MediaError& error) {
        throw Error(Error::Kind::cannotRead, package.url(),
                    error.kind() == MediaError::Kind::cannotWrite
                        ? std::string("the recording was cut short and cannot be completed: ") + error.what()
                        : "the recording was cut short before anything could be saved; record again");
    }
    const bool hasMicrophone = hasMicrophoneFile(package);
    Recorded recorded{.log = std::move(*log),
                      .duration = std::max(0.0, video->duration - lastPicture),
                      // With a microphone there is no other sound.
                      .recordedSystemSound = video->hasAudio && !hasMicrophone,
                      .recordedMicrophone = hasMicrophone};
    complete(package, recorded);
    return Recovery{recorded.duration};
}

}  // namespace lumenwhirl::PackageCompletion
