#pragma once

#include <unistd.h>

#include <filesystem>
#include <utility>

namespace lumenwhirl {

/// Owns a file that is needed for a while only: removes it at the end, if it is still there.
class TemporaryFile {
public:
    /// Takes over a file, which need not exist yet.
    explicit TemporaryFile(std::filesystem::path file) noexcept : path_(std::move(file)) {}
    TemporaryFile(TemporaryFile&& other) noexcept : path_(other.release()) {}
    TemporaryFile& operator=(TemporaryFile&&) = delete;
    ~TemporaryFile() {
        if (!path_.empty()) ::unlink(path_.c_str());  // nothing can be done where this fails
    }

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    /// From now on the file belongs to the caller, and stays.
    std::filesystem::path release() noexcept { return std::exchange(path_, {}); }

private:
    std::filesystem::path path_;
};

}  // namespace lumenwhirl
