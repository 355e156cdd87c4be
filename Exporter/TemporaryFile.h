#pragma once

#include <filesystem>
#include <string_view>

namespace lumenwhirl {

/// The name of a file in the making, beside the one it is to become; whatever is there is removed in the end,
/// unless it was moved into place.
class TemporaryFile {
public:
    /// A hidden name in the folder of `target`, not in use; creates nothing. `purpose` ends the name, e.g.
    /// "video".
    TemporaryFile(const std::filesystem::path& target, std::string_view purpose);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    /// Makes an empty file, to see early that it can be written. Throws std::filesystem::filesystem_error.
    void create() const;
    /// Replaces `target` in one step. Throws std::filesystem::filesystem_error.
    void moveTo(const std::filesystem::path& target);

private:
    std::filesystem::path path_;
};

}  // namespace lumenwhirl
