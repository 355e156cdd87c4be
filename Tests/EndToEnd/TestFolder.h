#pragma once

#include "Recorder/Package/LumenwhirlPackage.h"
#include "Tests/EndToEnd/Program.h"
#include "Tests/Support/Files.h"

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>

namespace lumenwhirl::test {

/// A temporary folder for packages and what is made of them.
class TestFolder : public TemporaryFolder {
public:
    [[nodiscard]] std::string operator/(const std::string& name) const { return (path() / name).string(); }

    /// Documents without a video: a display of 1920x1080, 10 seconds, no events.
    [[nodiscard]] LumenwhirlPackage makeDocuments() const;
    /// A complete recording: 320x180 at 30 frames a second, quiet audio, a moving cursor and a click in the
    /// middle.
    [[nodiscard]] LumenwhirlPackage makeRecording(int frames = 30) const;

    /// Every file in the folder with a hash of its contents, to see whether anything has changed.
    [[nodiscard]] std::map<std::string, std::size_t> contents() const;

    /// Expects the program to fail with nothing but one line on standard error that begins with "lumenwhirl: " and
    /// `message`, and without changing anything in the folder. Returns that line.
    std::string expectFailure(const Program::Arguments& arguments, int status, const std::string& message,
                              const Program::Surroundings& surroundings = {}) const;
};

}  // namespace lumenwhirl::test
