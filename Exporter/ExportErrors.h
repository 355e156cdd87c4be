#pragma once

#include "Exporter/Exporter.h"
#include "Exporter/TemporaryFile.h"
#include "Media/MediaError.h"

#include <filesystem>
#include <stop_token>
#include <string>

namespace lumenwhirl::Exporter {

/// Throws ExportError (cancelled) after a stop.
void throwIfStopped(const std::stop_token& stop);
/// Creates the file in the making. Throws ExportError (cannotCreateWriter).
void createOrRefuse(const TemporaryFile& file, const std::filesystem::path& destination);
[[nodiscard]] ExportError noFrames(const std::filesystem::path& recording);
/// What is wrong, for a message that names the destination: the name of a file in the making says nothing to
/// users.
[[nodiscard]] std::string problemOf(const MediaError& error, const std::filesystem::path& temporary);
/// Throws `error` as an ExportError (writerFailed): of the destination, where it is about the temporary file.
[[noreturn]] void throwNamingDestination(const MediaError& error, const std::filesystem::path& temporary,
                                         const std::filesystem::path& destination);

}  // namespace lumenwhirl::Exporter
