#include "Exporter/ExportErrors.h"

namespace lumenwhirl::Exporter {

namespace fs = std::filesystem;

void throwIfStopped(const std::stop_token& stop) {
    if (stop.stop_requested()) throw ExportError(ExportError::Kind::cancelled, "cancelled");
}

void createOrRefuse(const TemporaryFile& file, const fs::path& destination) {
    try {
        file.create();
    } catch (const fs::filesystem_error& error) {
        throw ExportError(ExportError::Kind::cannotCreateWriter,
                          destination.string() + ": cannot write: " + error.code().message());
    }
}

ExportError noFrames(const fs::path& recording) {
    return {ExportError::Kind::noVideoTrack,
            recording.string() + ": the video has no frames; record again or restore the file"};
}

std::string problemOf(const MediaError& error, const fs::path& temporary) {
    std::string message = error.what();
    const std::string name = temporary.string() + ": ";
    return message.starts_with(name) ? message.substr(name.size()) : message;
}

void throwNamingDestination(const MediaError& error, const fs::path& temporary, const fs::path& destination) {
    const std::string problem = problemOf(error, temporary);
    const bool namesAnother = problem == error.what();  // the recording
    throw ExportError(ExportError::Kind::writerFailed,
                      namesAnother ? problem : destination.string() + ": " + problem);
}

}  // namespace lumenwhirl::Exporter
