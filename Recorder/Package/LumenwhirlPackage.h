#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"

#include <filesystem>
#include <stdexcept>
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

    /// One line naming the file, what is wrong and, in a document, where.
    class Error : public std::runtime_error {
    public:
        enum class Kind { cannotRead, malformed, cannotWrite };
        Error(Kind kind, const std::filesystem::path& file, const std::string& problem)
            : std::runtime_error(file.string() + ": " + problem), kind_(kind) {}
        [[nodiscard]] Kind kind() const noexcept { return kind_; }

    private:
        Kind kind_;
    };

    /// Wraps an existing folder; checks nothing.
    explicit LumenwhirlPackage(std::filesystem::path url);
    /// Where create() makes it: `name` with ".lumenwhirl" added unless it ends so.
    [[nodiscard]] static std::filesystem::path pathFor(const std::string& name,
                                                       const std::filesystem::path& folder);
    /// Creates the folder (0700) with missing parents; an existing one is reused. Throws Error.
    [[nodiscard]] static LumenwhirlPackage create(const std::string& name, const std::filesystem::path& folder);

    [[nodiscard]] const std::filesystem::path& url() const noexcept { return url_; }
    [[nodiscard]] std::filesystem::path recordingURL() const;
    [[nodiscard]] std::filesystem::path eventsURL() const;
    [[nodiscard]] std::filesystem::path projectURL() const;
    [[nodiscard]] std::filesystem::path micURL() const;
    [[nodiscard]] std::filesystem::path systemURL() const;

    /// Atomic: a temporary file (0600) in the same folder, flushed to disk, renamed over the target. A failure
    /// leaves the old document. Throws Error.
    void writeEvents(const EventLog& log) const;
    void writeProject(const ProjectSettings& settings) const;
    [[nodiscard]] EventLog readEvents() const;
    [[nodiscard]] ProjectSettings readProject() const;

private:
    std::filesystem::path url_;
};

}  // namespace lumenwhirl
