#include "Recorder/Muxer.h"

#include "Media/MediaError.h"
#include "Media/Remuxer.h"
#include "Media/ReplacementFile.h"

namespace lumenwhirl::Muxer {

void muxAudio(const std::filesystem::path& audio, const std::filesystem::path& video,
              std::optional<double> videoEnd) {
    try {
        ReplacementFile joined(video);
        Remuxer::mux(video, audio, joined.path(), videoEnd);
        joined.commit();
    } catch (const MediaError& error) {
        if (error.kind() == MediaError::Kind::noAudioTrack) return;
        const bool isVideoMissing = error.kind() == MediaError::Kind::noVideoTrack;
        throw MuxError(isVideoMissing ? MuxError::Kind::noVideoTrack : MuxError::Kind::exportFailed, error.what());
    }
}

}  // namespace lumenwhirl::Muxer
