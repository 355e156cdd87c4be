#include "Lumenwhirl/Commands/Files.h"

#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/CommandLine.h"
#include "Lumenwhirl/Commands/ProgressLine.h"
#include "Recorder/PackageCompletion.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <system_error>
#include <utility>
#include <vector>

namespace lumenwhirl::Files {
namespace {

std::string shown(const std::filesystem::path& path) {
    return path.empty() ? "\"\"" : path.string();
}

std::filesystem::path folderOf(const std::filesystem::path& file) {
    return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

std::filesystem::path temporaryNameBeside(const std::filesystem::path& file) {
    std::random_device random;
    return folderOf(file) / (".lumenwhirl-" + std::to_string(random()) + ".tmp");
}

bool isPackageFile(const std::filesystem::path& file, const LumenwhirlPackage& package) {
    for (const std::filesystem::path& own : {package.recordingURL(), package.eventsURL(), package.projectURL(),
                                             package.micURL(), package.systemURL()}) {
        std::error_code error;
        if (std::filesystem::equivalent(file, own, error) && !error) return true;
        // One that is missing may not be made either: it would become part of the recording.
        if (file.filename() == own.filename() &&
            std::filesystem::equivalent(folderOf(file), package.url(), error) && !error)
            return true;
    }
    return false;
}

}  // namespace

LumenwhirlPackage openPackage(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found)
        throw CommandError(shown(path) + ": there is no such package");
    if (error) throw CommandError(shown(path) + ": cannot be opened: " + error.message());
    if (!std::filesystem::is_directory(status))
        throw CommandError(shown(path) + ": is no recording package, which is a folder");
    const LumenwhirlPackage package(path);
    if (const auto recovery = PackageCompletion::recover(package)) {
        const std::string line = shown(path) + ": the recording had been cut short; " +
                                 durationText(recovery->duration) + " of it were saved and completed";
        std::fprintf(stderr, "lumenwhirl: %s\n", oneLine(line).c_str());
        if (recovery->microphoneFailure) {
            const std::string silence = "its voice is in mic.m4a only: " + *recovery->microphoneFailure;
            std::fprintf(stderr, "lumenwhirl: %s\n", oneLine(silence).c_str());
        }
    }
    return package;
}

void checkDestination(const std::filesystem::path& destination, const LumenwhirlPackage* package) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(destination, error);
    if (std::filesystem::is_directory(status) || !destination.has_filename())
        throw CommandError(shown(destination) + ": is a folder; name a file in it");
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        throw CommandError(shown(destination) + ": is no plain file and will not be replaced");
    const std::filesystem::path folder = folderOf(destination);
    if (!std::filesystem::is_directory(folder, error))
        throw CommandError(shown(destination) + ": there is no folder " + folder.string());
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        throw CommandError(shown(destination) + ": no file can be made in " + folder.string() + ": " +
                           std::strerror(errno));
    if (package != nullptr && isPackageFile(destination, *package))
        throw CommandError(shown(destination) + ": belongs to the recording itself; choose another name");
}

NewFile::NewFile(std::filesystem::path destination)
    : destination_(std::move(destination)), temporary_(temporaryNameBeside(destination_)) {
    descriptor_ = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ < 0) fail(errno);
}

NewFile::~NewFile() {
    if (descriptor_ < 0) return;
    close(descriptor_);
    unlink(temporary_.c_str());
}

void NewFile::write(std::string_view contents) {
    while (!contents.empty()) {
        const ssize_t written = ::write(descriptor_, contents.data(), contents.size());
        if (written < 0 && errno != EINTR) fail(errno);
        if (written > 0) contents.remove_prefix(static_cast<std::size_t>(written));
    }
}

void NewFile::copyFrom(const std::filesystem::path& source) {
    std::ifstream input(source, std::ios::binary);
    if (!input) throw CommandError(source.string() + ": cannot be opened");
    std::vector<char> block(std::size_t{1} << 16);
    while (input.read(block.data(), static_cast<std::streamsize>(block.size())) || input.gcount() > 0)
        write({block.data(), static_cast<std::size_t>(input.gcount())});
    if (input.bad()) throw CommandError(source.string() + ": cannot be read");
}

void NewFile::commit() {
    // On the disk before it takes its name, so that a power cut leaves the old file or the whole new one.
    if (fsync(descriptor_) != 0 && errno != EINVAL) fail(errno);
    if (rename(temporary_.c_str(), destination_.c_str()) != 0) fail(errno);
    close(std::exchange(descriptor_, -1));
}

void NewFile::fail(int error) const {
    throw CommandError(shown(destination_) + ": cannot be written: " + std::strerror(error));
}

}  // namespace lumenwhirl::Files
