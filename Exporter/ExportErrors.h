#pragma once

#include "Exporter/Exporter.h"
#include "Files/AtomicFile.h"
#include "Files/FileError.h"

#include <filesystem>
#include <stop_token>
#include <string>

namespace lumenwhirl::Exporter {

/// Throws ExportError (cancelled) after a stop.
void throwIfStopped(const std::stop_token& stop);
/// The file that is to become the destination. Throws ExportError (cannotCreateWriter).
[[nodiscard]] AtomicFile createOrRefuse(const std::filesystem::path& destination);
[[nodiscard]] ExportError noFrames(const std::filesystem::path& recording);
/// `error` for users: what is wrong with a file that is still being made is told of the destination, as its hidden
/// name says nothing to them. With a `step` ("audio mux: ") the message begins with the destination either way.
[[nodiscard]] ExportError failure(ExportError::Kind kind, const FileError& error,
                                  const std::filesystem::path& destination, const std::string& step = "");

}  // namespace lumenwhirl::Exporter
