#pragma once

#include <filesystem>
#include <optional>
#include <thread>

namespace lumenwhirl {

/// The recording's sound, raised to a good level on a thread of its own while the picture is encoded. Destroyed
/// early, it stops and leaves no file.
class BackgroundSound {
public:
    explicit BackgroundSound(const std::filesystem::path& recording);
    ~BackgroundSound();
    BackgroundSound(const BackgroundSound&) = delete;
    BackgroundSound& operator=(const BackgroundSound&) = delete;

    /// Waits for the work. The louder copy, or the recording itself where none is called for. Valid as long as
    /// this.
    [[nodiscard]] const std::filesystem::path& file();

private:
    std::filesystem::path recording_;
    std::optional<std::filesystem::path> copy_;
    std::jthread worker_;
};

}  // namespace lumenwhirl
