#pragma once

#include "Recorder/Package/LumenwhirlPackage.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <stop_token>
#include <string>

namespace lumenwhirl {

struct DemoOptions {
    double seconds = 12;  // 1...36000; rounded to whole frames
    int width = 1920,
        height = 1080;       // even, 160...8192, no side over four times the other
    int fps = 60;            // 1...240
    std::uint64_t seed = 1;  // the same options and seed give the same events, project and pictures
    bool operator==(const DemoOptions&) const = default;
};

/// what() is one line for people.
class DemoError : public std::runtime_error {
public:
    enum class Kind { invalidOptions, cannotWrite, stopped };
    DemoError(Kind kind, const std::string& problem) : std::runtime_error(problem), kind_(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};

/// Makes `folder`/Demo.lumenwhirl: a synthetic recording of somebody working at a desktop, with picture, voice,
/// events and a project with captions. The folder is created when missing.
///
/// It is built beside its place under a hidden name and moved there when complete, so that a failure or a stop
/// leaves nothing behind and an older one as it was. An older Demo.lumenwhirl is replaced if it is an empty
/// folder or holds a recording, i.e. at least one of a package's three files; anything else of that name stays,
/// with an error.
///
/// Blocks for as long as encoding takes; memory does not grow with the length, but for the events (20 kB a
/// minute). `progress` (may be empty) is told the finished fraction, 0...1, ascending, on the calling thread.
/// Throws DemoError, MediaError, LumenwhirlPackage::Error or std::bad_alloc.
LumenwhirlPackage makeDemo(const std::filesystem::path& folder, const DemoOptions& options,
                           const std::function<void(double fraction)>& progress = {},
                           const std::stop_token& stop = {});

}  // namespace lumenwhirl
