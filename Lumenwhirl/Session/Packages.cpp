#include "Lumenwhirl/Session/Packages.h"

#include "Lumenwhirl/Session/Texts.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace lumenwhirl::Session {
namespace {

namespace fs = std::filesystem;

std::string shown(const fs::path& path) {
    return path.empty() ? "\"\"" : path.string();
}

fs::path folderOf(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

bool isPackageFile(const fs::path& file, const LumenwhirlPackage& package) {
    for (const fs::path& own : {package.recordingURL(), package.eventsURL(), package.projectURL(),
                                package.micURL(), package.systemURL()}) {
        std::error_code error;
        if (fs::equivalent(file, own, error) && !error) return true;
        // One that is missing may not be created either: it would become part of the recording.
        if (file.filename() == own.filename() && fs::equivalent(folderOf(file), package.url(), error) && !error)
            return true;
    }
    return false;
}

}  // namespace

std::vector<std::string> OpenedPackage::notices() const {
    std::vector<std::string> lines;
    if (!recovery) return lines;
    lines.push_back(shown(package.url()) + ": the recording had been cut short; " +
                    durationText(recovery->duration) + " of it were recovered");
    if (recovery->microphoneFailure)
        lines.push_back("the voice is in mic.m4a only: " + *recovery->microphoneFailure);
    return lines;
}

OpenedPackage openPackage(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) throw Error(shown(path) + ": no such package");
    if (error) throw Error(shown(path) + ": cannot be opened: " + error.message());
    if (!fs::is_directory(status)) throw Error(shown(path) + ": is not a recording package, which is a folder");
    const LumenwhirlPackage package(path);
    return {package, PackageCompletion::recover(package)};
}

void checkDestination(const fs::path& destination, const LumenwhirlPackage* package) {
    std::error_code error;
    const fs::file_status status = fs::status(destination, error);
    if (fs::is_directory(status) || !destination.has_filename())
        throw Error(shown(destination) + ": is a folder; name a file in it");
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw Error(shown(destination) + ": is not a regular file and will not be replaced");
    const fs::path folder = folderOf(destination);
    if (!fs::is_directory(folder, error))
        throw Error(shown(destination) + ": the folder " + folder.string() + " does not exist");
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        throw Error(shown(destination) + ": no file can be created in " + folder.string() + ": " +
                    std::strerror(errno));
    if (package != nullptr && isPackageFile(destination, *package))
        throw Error(shown(destination) + ": belongs to the recording; choose another name");
}

}  // namespace lumenwhirl::Session
