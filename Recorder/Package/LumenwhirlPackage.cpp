#include "Recorder/Package/LumenwhirlPackage.h"

#include "Engine/Documents/LumenwhirlJSON.h"
#include "Files/AtomicFile.h"
#include "Files/WholeFile.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr std::string_view suffix = ".lumenwhirl";
constexpr std::size_t largestDocument = std::size_t{1} << 30;  // bytes

using Kind = LumenwhirlPackage::Error::Kind;

/// What to do about a failed system call; without one, it is the file that is not what it should be.
const char* adviceFor(int errorNumber) {
    switch (errorNumber) {
        case 0:
            return "restore the file";
        case ENOENT:
            return "check that the recording was not moved or deleted";
        case EACCES:
        case EPERM:
            return "check the permissions of the recording's folder";
        case ENOSPC:
        case EDQUOT:
            return "free some space and try again";
        case EROFS:
            return "copy the recording to a disk that can be written";
        case EISDIR:
        case EEXIST:
        case ENOTDIR:
            return "move away what is in its place";
        case EFBIG:
            return "raise the limit on file sizes";
        case ENAMETOOLONG:
            return "choose a shorter name";
        default:
            return "check the disk";
    }
}

LumenwhirlPackage::Error cannotCreate(const std::filesystem::path& path, const std::string& what,
                                      int errorNumber) {
    const FileError error(path, "cannot create " + what, errorNumber);
    // Elsewhere the advice for these is about a recording that exists.
    if (errorNumber == EROFS || errorNumber == EACCES || errorNumber == EPERM)
        return {Kind::cannotWrite, path, std::string(error.problem()) + "; choose another folder"};
    return {Kind::cannotWrite, error};
}

template <class Document>
void write(const Document& document, const std::filesystem::path& file) {
    std::string text;
    try {
        text = LumenwhirlJSON::encode(document);
    } catch (const LumenwhirlJSON::Error& error) {
        throw LumenwhirlPackage::Error(Kind::cannotWrite, file, error.what());
    }
    try {
        AtomicFile replacement(file, AtomicFile::Access::owner);
        replacement.write(text);
        replacement.commit(AtomicFile::Durability::contentAndName);
    } catch (const FileError& error) {
        throw LumenwhirlPackage::Error(Kind::cannotWrite, error);
    }
}

template <class Document>
Document read(const std::filesystem::path& file) {
    try {
        return LumenwhirlJSON::decode<Document>(
            readWholeFile(file, largestDocument, LumenwhirlJSON::spareCapacity));
    } catch (const FileError& error) {
        throw LumenwhirlPackage::Error(Kind::cannotRead, error);
    } catch (const LumenwhirlJSON::Error& error) {
        throw LumenwhirlPackage::Error(Kind::malformed, file, error.what());
    }
}

}  // namespace

LumenwhirlPackage::Error::Error(Kind kind, const FileError& cause)
    : FileError(cause.file(), std::string(cause.problem()) + "; " + adviceFor(cause.errorNumber())), kind_(kind) {}

LumenwhirlPackage::LumenwhirlPackage(std::filesystem::path url) : url_(std::move(url)) {}

std::filesystem::path LumenwhirlPackage::pathFor(const std::string& name, const std::filesystem::path& folder) {
    return folder / (name.ends_with(suffix) ? name : name + std::string(suffix));
}

LumenwhirlPackage LumenwhirlPackage::create(const std::string& name, const std::filesystem::path& folder) {
    if (const auto made = createNew(name, folder)) return *made;
    const std::filesystem::path url = pathFor(name, folder);
    std::error_code ignored;
    if (std::filesystem::is_directory(url, ignored)) return LumenwhirlPackage(url);
    throw cannotCreate(url, "the package", EEXIST);
}

std::optional<LumenwhirlPackage> LumenwhirlPackage::createNew(const std::string& name,
                                                              const std::filesystem::path& folder) {
    if (name.find_first_of(std::string_view("/\0", 2)) != std::string::npos)
        throw Error(Kind::cannotWrite, name, "a package's name cannot hold \"/\"; choose another name");
    const std::filesystem::path url = pathFor(name, folder);
    if (url.filename().native().size() > NAME_MAX)  // before there are parents
        throw cannotCreate(url, "the package", ENAMETOOLONG);
    std::error_code error;
    if (!folder.empty()) std::filesystem::create_directories(folder, error);
    if (error) throw cannotCreate(folder, "the folder", error.value());
    if (::mkdir(url.c_str(), S_IRWXU) == 0) return LumenwhirlPackage(url);
    if (errno == EEXIST) return std::nullopt;
    throw cannotCreate(url, "the package", errno);
}

std::filesystem::path LumenwhirlPackage::recordingURL() const {
    return url_ / recordingName;
}

std::filesystem::path LumenwhirlPackage::eventsURL() const {
    return url_ / eventsName;
}

std::filesystem::path LumenwhirlPackage::projectURL() const {
    return url_ / projectName;
}

std::filesystem::path LumenwhirlPackage::micURL() const {
    return url_ / micName;
}

std::filesystem::path LumenwhirlPackage::systemURL() const {
    return url_ / systemName;
}

void LumenwhirlPackage::writeEvents(const EventLog& log) const {
    write(log, eventsURL());
}

void LumenwhirlPackage::writeProject(const ProjectSettings& settings) const {
    write(settings, projectURL());
}

EventLog LumenwhirlPackage::readEvents() const {
    return read<EventLog>(eventsURL());
}

ProjectSettings LumenwhirlPackage::readProject() const {
    return read<ProjectSettings>(projectURL());
}

}  // namespace lumenwhirl
