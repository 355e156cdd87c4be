#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"
#include "Files/FileError.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace lumenwhirl {

/// One recording: a folder whose name ends in ".lumenwhirl" with fixed file names inside. Holds only the
/// path; copied freely, used from any thread. Two writers of one document: the last one wins.
class LumenwhirlPackage {
public:
    static constexpr std::string_view recordingName = "recording.mp4";
    static constexpr std::string_view eventsName = "events.json";
    static constexpr std::string_view projectName = "project.json";
    static constexpr std::string_view micName = "mic.m4a";
    static constexpr std::string_view systemName = "system.m4a";

    /// The problem says what is wrong and, in a document, where.
    class Error : public FileError {
    public:
        enum class Kind { cannotRead, malformed, cannotWrite };
        Error(Kind kind, const std::filesystem::path& file, const std::string& problem)
            : FileError(file, problem), kind_(kind) {}
        /// Adds what to do about it.
        Error(Kind kind, const FileError& cause);
        [[nodiscard]] Kind kind() const noexcept { return kind_; }

    private:
        Kind kind_;
    };

    /// Names an existing folder; checks nothing.
    explicit LumenwhirlPackage(std::filesystem::path url);
    /// Where create() makes it: `name`, with ".lumenwhirl" added unless it ends with that.
    [[nodiscard]] static std::filesystem::path pathFor(const std::string& name,
                                                       const std::filesystem::path& folder);
    /// Creates the folder (0700) and missing parents; an existing one is reused. Throws Error.
    [[nodiscard]] static LumenwhirlPackage create(const std::string& name, const std::filesystem::path& folder);
    /// The same, but empty where there is anything of that name.
    [[nodiscard]] static std::optional<LumenwhirlPackage> createNew(const std::string& name,
                                                                    const std::filesystem::path& folder);

    [[nodiscard]] const std::filesystem::path& url() const noexcept { return url_; }
    [[nodiscard]] std::filesystem::path recordingURL() const;
    [[nodiscard]] std::filesystem::path eventsURL() const;
    [[nodiscard]] std::filesystem::path projectURL() const;
    [[nodiscard]] std::filesystem::path micURL() const;
    [[nodiscard]] std::filesystem::path systemURL() const;

    /// Replaces the document (0600) atomically and durably: a failure, or a power cut, leaves the old one. Throws
    /// Error.
    void writeEvents(const EventLog& log) const;
    void writeProject(const ProjectSettings& settings) const;
    [[nodiscard]] EventLog readEvents() const;
    [[nodiscard]] ProjectSettings readProject() const;

private:
    std::filesystem::path url_;
};

}  // namespace lumenwhirl
