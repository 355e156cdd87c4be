#include "Files/Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace lumenwhirl {

Descriptor createNewFile(const std::filesystem::path& file) {
    const char* const name = file.c_str();
    const int made = ::open(name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (made < 0) return Descriptor(made);
    struct stat ours {
    }, folder{};
    // Compared with each other and not with this process's user: some file systems give every file one owner.
    const std::filesystem::path parent = file.has_parent_path() ? file.parent_path() : ".";
    if (::fstat(made, &ours) == 0 && ::lstat(parent.c_str(), &folder) == 0 && ours.st_uid == folder.st_uid)
        return Descriptor(made);
    ::close(made);
    ::unlink(name);
    errno = EPERM;
    return Descriptor(-1);
}

}  // namespace lumenwhirl
