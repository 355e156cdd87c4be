#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

/// Whole files of text, read and replaced for a package. Everything throws LumenwhirlPackage::Error.
namespace lumenwhirl::DocumentFile {

/// At most 1 GiB, from a regular file, in a string with at least `spareCapacity` bytes more than its text.
[[nodiscard]] std::string read(const std::filesystem::path& file, std::size_t spareCapacity);

/// Atomic and durable: either the old content or the new one is there, also after a power cut. The new file can be
/// read by its owner alone.
void replace(const std::filesystem::path& file, std::string_view text);

/// Makes the new name of a file survive a power cut.
void flushFolder(const std::filesystem::path& file);

/// The system's words for an `errno` value and what to do about it.
[[nodiscard]] std::string reason(int errorNumber);

}  // namespace lumenwhirl::DocumentFile
