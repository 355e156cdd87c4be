#pragma once

#include "Recorder/Package/LumenwhirlPackage.h"

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>

namespace lumenwhirl::test {

/// A fresh folder that is removed at the end, for packages and what is made of them.
class TestFolder {
public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    /// Under the folder.
    [[nodiscard]] std::string operator/(const std::string& name) const { return (path_ / name).string(); }

    /// Documents alone: a display of 1920x1080, 10 seconds, no events.
    [[nodiscard]] LumenwhirlPackage makeDocuments() const;
    /// A whole recording: 320x180 at 30 frames a second, quiet sound, a moving cursor and a click in the middle.
    [[nodiscard]] LumenwhirlPackage makeRecording(int frames = 30) const;

    /// Every file under the folder with a hash of its contents, to see that nothing has changed.
    [[nodiscard]] std::map<std::string, std::size_t> contents() const;

private:
    std::filesystem::path path_;
};

[[nodiscard]] std::string contentsOf(const std::filesystem::path& file);
void writeFile(const std::filesystem::path& file, const std::string& contents);

}  // namespace lumenwhirl::test
