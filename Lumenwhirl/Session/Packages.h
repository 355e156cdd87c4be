#pragma once

#include "Recorder/Package/LumenwhirlPackage.h"
#include "Recorder/PackageCompletion.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// What the application does with recordings, whether a command or a window asks for it. Everything here blocks on
/// the caller's thread, prints nothing, and throws errors whose message is one line for the user.
namespace lumenwhirl::Session {

class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A package that exists and is complete. Its documents have not been read yet.
struct OpenedPackage {
    LumenwhirlPackage package;
    /// What was saved, if the recording had been cut short by a crash.
    std::optional<PackageCompletion::Recovery> recovery{};

    /// What the user should know about the recovery, one line each; none for a package that was complete.
    [[nodiscard]] std::vector<std::string> notices() const;
};

/// Opens a package, and completes it first if its recording was cut short. Throws Error, LumenwhirlPackage::Error.
[[nodiscard]] OpenedPackage openPackage(const std::filesystem::path& path);

/// Checks, before any work is done, that a file can be created at `destination`, so that a typing error does not
/// cost an hour of exporting. None of the files of `package`, if given, may be replaced. Throws Error.
void checkDestination(const std::filesystem::path& destination, const LumenwhirlPackage* package);

}  // namespace lumenwhirl::Session
