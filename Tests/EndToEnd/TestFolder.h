#pragma once

#include "Recorder/Package/LumenwhirlPackage.h"
#include "Tests/Support/Files.h"

#include <cstddef>
#include <map>
#include <string>

namespace lumenwhirl::test {

/// A temporary folder for packages and what is made from them.
class TestFolder : public TemporaryFolder {
public:
    /// A path in the folder, as the command line takes it.
    [[nodiscard]] std::string operator/(const std::string& name) const { return (path() / name).string(); }

    /// Documents alone: a display of 1920x1080, 10 seconds, no events.
    [[nodiscard]] LumenwhirlPackage makeDocuments() const;
    /// A whole recording: 320x180 at 30 frames a second, quiet audio, a moving cursor and a click in the middle.
    [[nodiscard]] LumenwhirlPackage makeRecording(int frames = 30) const;

    /// Every file in the folder with a hash of its contents, to check that nothing has changed.
    [[nodiscard]] std::map<std::string, std::size_t> contents() const;
};

}  // namespace lumenwhirl::test
