#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace lumenwhirl {

/// The content of a regular file of at most `mostBytes`, in a string with room for at least `spareCapacity` bytes
/// more. Never waits for anybody, as opening a pipe would. Throws FileError.
[[nodiscard]] std::string readWholeFile(const std::filesystem::path& file, std::size_t mostBytes,
                                        std::size_t spareCapacity = 0);

}  // namespace lumenwhirl
