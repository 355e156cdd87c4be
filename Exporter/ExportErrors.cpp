#include "Exporter/ExportErrors.h"

namespace lumenwhirl::Exporter {

namespace fs = std::filesystem;

void throwIfStopped(const std::stop_token& stop) {
    if (stop.stop_requested()) throw ExportError(ExportError::Kind::cancelled, "cancelled");
}

AtomicFile createOrRefuse(const fs::path& destination) {
    AtomicFile::removeLeftoversBeside(destination);  // of an export that was killed
    try {
        return AtomicFile(destination, AtomicFile::Access::umask);
    } catch (const FileError& error) {
        throw failure(ExportError::Kind::cannotCreateWriter, error, destination);
    }
}

ExportError noFrames(const fs::path& recording) {
    return {ExportError::Kind::noVideoTrack,
            recording.string() + ": the video has no frames; record again or restore the file"};
}

ExportError failure(ExportError::Kind kind, const FileError& error, const fs::path& destination,
                    const std::string& step) {
    const fs::path file = error.file();
    const bool isOfDestination = file == destination || AtomicFile::isPathOfOne(file);
    if (!isOfDestination && step.empty()) return {kind, error.what()};
    return {kind, destination.string() + ": " + step + (isOfDestination ? error.problem() : error.what())};
}

}  // namespace lumenwhirl::Exporter
