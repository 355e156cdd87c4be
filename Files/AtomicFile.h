#pragma once

#include "Files/Descriptor.h"
#include "Files/TemporaryFile.h"

#include <filesystem>
#include <string_view>

namespace lumenwhirl {

/// A new file that appears at its destination as a whole or not at all: it is written under a hidden name in the
/// same folder until commit() renames it, replacing what is there. Destroyed before that, it leaves nothing. Until
/// then only its owner may read it.
///
/// Everything throws FileError naming the destination: the hidden name says nothing to users.
class AtomicFile {
public:
    enum class Access {
        owner,  // mode 0600
        umask   // 0666 less what the process's umask takes away
    };
    enum class Durability {
        none,
        content,         // after a power cut either the old or the new file is there
        contentAndName,  // the new file is there after a power cut
    };

    /// Creates the hidden file, empty.
    AtomicFile(std::filesystem::path destination, Access access);

    /// For libraries that write to a name: one of the open file itself, which stays right whatever somebody else
    /// who may write to the folder puts in its place. They may truncate the file, but not replace it.
    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    /// Whether a name is one that path() gives.
    [[nodiscard]] static bool isPathOfOne(const std::filesystem::path& file);
    void write(std::string_view bytes);
    /// Once; nothing can be written afterwards.
    void commit(Durability durability);

    /// Whether a file of this name, without its folder, is a hidden one. Where nobody is writing, a crash left it.
    [[nodiscard]] static bool isTemporaryName(std::string_view name) noexcept;

    /// Removes the hidden files of this user beside `destination` that nobody is writing any more: a crash left
    /// them.
    static void removeLeftoversBeside(const std::filesystem::path& destination) noexcept;

private:
    [[noreturn]] void fail() const;

    std::filesystem::path destination_;
    Access access_;
    TemporaryFile temporary_;
    Descriptor descriptor_;
    std::filesystem::path path_;
};

/// For a file that was created otherwise: makes its name survive a power cut. Throws FileError.
void flushFolderOf(const std::filesystem::path& file);

}  // namespace lumenwhirl
