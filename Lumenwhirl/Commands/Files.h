#pragma once

#include "Recorder/Package/LumenwhirlPackage.h"

#include <filesystem>
#include <string_view>

/// The files that commands take and leave. Every failure throws CommandError, whose message names the file.
namespace lumenwhirl::Files {

/// A package that is there. A recording that was cut short is completed first, and standard error says so. The
/// documents are read, and found wanting, later.
[[nodiscard]] LumenwhirlPackage openPackage(const std::filesystem::path& path);

/// Checks, before any work is done, that a file can be made there, so that hours of export do not end in a typing
/// error. `package`, if given, is what the work reads: none of its files may be replaced.
void checkDestination(const std::filesystem::path& destination, const LumenwhirlPackage* package);

/// A file that appears all at once: written under another name in the same folder and renamed by `commit`, else
/// removed.
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

}  // namespace lumenwhirl::Files
