#pragma once

#include "Lumenwhirl/Session/Packages.h"

#include <filesystem>
#include <string_view>

namespace lumenwhirl {

/// Opens a package, and prints what had to be recovered on standard error.
[[nodiscard]] LumenwhirlPackage openPackage(const std::filesystem::path& path);

/// A file that appears all at once: written under another name in the same folder and renamed by `commit`, else
/// removed. Throws CommandError, whose message names the file.
class NewFile {
public:
    explicit NewFile(std::filesystem::path destination);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void write(std::string_view contents);
    void copyFrom(const std::filesystem::path& source);
    void commit();

private:
    [[noreturn]] void fail(int error) const;

    std::filesystem::path destination_, temporary_;
    int descriptor_ = -1;
};

}  // namespace lumenwhirl
