#include "Files/TemporaryFile.h"

#include <unistd.h>

#include <utility>

namespace lumenwhirl {

TemporaryFile::TemporaryFile(std::filesystem::path file) noexcept : path_(std::move(file)) {}

TemporaryFile::TemporaryFile(TemporaryFile&& other) noexcept : path_(other.release()) {}

TemporaryFile::~TemporaryFile() {
    if (!path_.empty()) ::unlink(path_.c_str());  // nothing more can be done where this fails
}

std::filesystem::path TemporaryFile::release() noexcept {
    return std::exchange(path_, {});
}

}  // namespace lumenwhirl
