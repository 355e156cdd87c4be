#include "Recorder/Package/DocumentFile.h"

#include "Files/Descriptor.h"
#include "Recorder/Package/LumenwhirlPackage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <system_error>

namespace lumenwhirl::DocumentFile {
namespace {

constexpr std::size_t largestBytes = std::size_t{1} << 30;

using Kind = LumenwhirlPackage::Error::Kind;

/// The new content until it gets its name; removed if it never does.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::filesystem::path& target)
        : target_(target),
          path_((target.parent_path() / ("." + target.filename().string() + ".XXXXXX")).string()),
          descriptor_(::mkostemp(path_.data(), O_CLOEXEC)) {  // O_EXCL, mode 0600
        if (!descriptor_.isOpen()) fail("cannot create a file beside it");
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (isTemporary_) ::unlink(path_.c_str());
    }

    void write(std::string_view text) {
        while (!text.empty()) {
            const ssize_t written = ::write(descriptor_.get(), text.data(), text.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) fail("cannot write");
            text.remove_prefix(static_cast<std::size_t>(written));
        }
        if (::fsync(descriptor_.get()) != 0 || !descriptor_.close()) fail("cannot flush to disk");
    }

    void moveToTarget() {
        if (::rename(path_.c_str(), target_.c_str()) != 0) fail("cannot replace the file");
        isTemporary_ = false;
    }

private:
    [[noreturn]] void fail(const char* what) const {
        const int errorNumber = errno;
        throw LumenwhirlPackage::Error(Kind::cannotWrite, target_, what + (": " + reason(errorNumber)));
    }

    std::filesystem::path target_;
    std::string path_;
    Descriptor descriptor_;
    bool isTemporary_ = true;
};

[[noreturn]] void failRead(const std::filesystem::path& file, const std::string& problem) {
    throw LumenwhirlPackage::Error(Kind::cannotRead, file, problem);
}

/// Reads up to the end, also of a file that has become longer since it was looked at.
std::string readAll(const Descriptor& descriptor, const std::filesystem::path& file, std::size_t expectedBytes,
                    std::size_t spareCapacity) {
    std::string text;
    std::size_t filled = 0;
    text.resize(expectedBytes + spareCapacity);
    while (true) {
        const ssize_t count = ::read(descriptor.get(), text.data() + filled, text.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) failRead(file, "cannot read: " + reason(errno));
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
        if (filled > largestBytes) failRead(file, "is larger than 1 GiB; restore the file");
        if (text.size() - filled < spareCapacity) text.resize(2 * filled + spareCapacity);
    }
    text.resize(filled);
    return text;
}

}  // namespace

std::string reason(int errorNumber) {
    const std::string words = std::generic_category().message(errorNumber);
    switch (errorNumber) {
        case ENOENT:
            return words + "; check that the recording was not moved or deleted";
        case EACCES:
        case EPERM:
            return words + "; check the permissions of the recording's folder";
        case ENOSPC:
        case EDQUOT:
            return words + "; free some space and try again";
        case EROFS:
            return words + "; copy the recording to a disk that can be written";
        case EISDIR:
        case EEXIST:
        case ENOTDIR:
            return words + "; move away what is in its place";
        case EFBIG:
            return words + "; raise the limit on file sizes";
        case ENAMETOOLONG:
            return words + "; choose a shorter name";
        default:
            return words + "; check the disk";
    }
}

std::string read(const std::filesystem::path& file, std::size_t spareCapacity) {
    // Without O_NONBLOCK a pipe in the file's place would wait for a writer that never comes.
    const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor.isOpen()) failRead(file, "cannot open: " + reason(errno));
    struct stat status {};
    if (::fstat(descriptor.get(), &status) != 0) failRead(file, "cannot read: " + reason(errno));
    if (S_ISDIR(status.st_mode)) failRead(file, "is a folder, not a file; restore the file");
    if (!S_ISREG(status.st_mode)) failRead(file, "is not a regular file; restore the file");
    if (static_cast<std::uintmax_t>(status.st_size) > largestBytes)
        failRead(file, "is larger than 1 GiB; restore the file");
    return readAll(descriptor, file, static_cast<std::size_t>(status.st_size), spareCapacity);
}

void flushFolder(const std::filesystem::path& file) {
    const auto parent = file.parent_path();
    const Descriptor folder(::open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // EINVAL: some network file systems flush no folders. EACCES: a folder may be writable and not readable; what
    // it holds cannot be listed then, but the new file is in place.
    if (folder.isOpen() ? ::fsync(folder.get()) == 0 || errno == EINVAL : errno == EACCES) return;
    throw LumenwhirlPackage::Error(Kind::cannotWrite, file, "cannot flush its folder to disk: " + reason(errno));
}

void replace(const std::filesystem::path& file, std::string_view text) {
    TemporaryFile temporary(file);
    temporary.write(text);
    temporary.moveToTarget();
    flushFolder(file);
}

}  // namespace lumenwhirl::DocumentFile
