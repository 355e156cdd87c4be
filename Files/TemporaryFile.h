#pragma once

#include <filesystem>

namespace lumenwhirl {

/// Owns a file that is needed for a while only: removes it in the end, if it is still there.
class TemporaryFile {
public:
    /// Takes over a file, which need not exist yet.
    explicit TemporaryFile(std::filesystem::path file) noexcept;
    TemporaryFile(TemporaryFile&& other) noexcept;
    TemporaryFile& operator=(TemporaryFile&&) = delete;
    ~TemporaryFile();

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    /// From now on the file is the caller's, and stays.
    std::filesystem::path release() noexcept;

private:
    std::filesystem::path path_;
};

}  // namespace lumenwhirl
