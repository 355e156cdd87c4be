#include "Recorder/Package/LumenwhirlPackage.h"

#include "Engine/Documents/LumenwhirlJSON.h"
#include "Recorder/Package/DocumentFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr std::string_view suffix = ".lumenwhirl";

using Kind = LumenwhirlPackage::Error::Kind;

template <class Document>
void write(const Document& document, const std::filesystem::path& file) {
    std::string text;
    try {
        text = LumenwhirlJSON::encode(document);
    } catch (const LumenwhirlJSON::Error& error) {
        throw LumenwhirlPackage::Error(Kind::cannotWrite, file, error.what());
    }
    DocumentFile::replace(file, text);
}

template <class Document>
Document read(const std::filesystem::path& file) {
    const std::string text = DocumentFile::read(file, LumenwhirlJSON::spareCapacity);
    try {
        return LumenwhirlJSON::decode<Document>(text);
    } catch (const LumenwhirlJSON::Error& error) {
        throw LumenwhirlPackage::Error(Kind::malformed, file, error.what());
    }
}

}  // namespace

LumenwhirlPackage::LumenwhirlPackage(std::filesystem::path url) : url_(std::move(url)) {}

std::filesystem::path LumenwhirlPackage::pathFor(const std::string& name, const std::filesystem::path& folder) {
    return folder / (name.ends_with(suffix) ? name : name + std::string(suffix));
}

LumenwhirlPackage LumenwhirlPackage::create(const std::string& name, const std::filesystem::path& folder) {
    if (name.find_first_of(std::string_view("/\0", 2)) != std::string::npos)
        throw Error(Kind::cannotWrite, name, "a package's name cannot hold \"/\"; choose another name");
    const std::filesystem::path url = pathFor(name, folder);

    std::error_code error;
    if (!folder.empty()) std::filesystem::create_directories(folder, error);
    if (error)
        throw Error(Kind::cannotWrite, folder, "cannot create the folder: " + DocumentFile::reason(error.value()));
    if (::mkdir(url.c_str(), S_IRWXU) == 0) return LumenwhirlPackage(url);
    const int failure = errno;
    if (failure == EEXIST && std::filesystem::is_directory(url, error)) return LumenwhirlPackage(url);
    throw Error(Kind::cannotWrite, url, "cannot create the package: " + DocumentFile::reason(failure));
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
