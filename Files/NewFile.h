#pragma once

#include "Files/Descriptor.h"

#include <filesystem>

namespace lumenwhirl {

/// Creates a file for writing that only its owner may open (0600). Fails, with `errno`, where anything of that
/// name is there already, links included, and with EPERM in a folder that belongs to somebody else: in folders
/// that others can write to, they could have prepared it.
[[nodiscard]] Descriptor createNewFile(const std::filesystem::path& file);

}  // namespace lumenwhirl
