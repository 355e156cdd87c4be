#pragma once

#include <filesystem>
#include <string_view>

namespace lumenwhirl {

/// A new, empty file that its owner alone may read, hidden beside the one that it is to replace; removed unless it
/// takes its place. Everything throws MediaError (cannotWrite).
class ReplacementFile {
public:
    static constexpr std::string_view namePrefix = ".mux-";  // then a UUID and ".mp4"

    explicit ReplacementFile(std::filesystem::path target);
    ~ReplacementFile();
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    /// Replaces the target in one step, once it is on the disk: after a power cut there is to be one of both.
    void commit();

private:
    void check(int result) const;

    std::filesystem::path target_, path_;
};

}  // namespace lumenwhirl
