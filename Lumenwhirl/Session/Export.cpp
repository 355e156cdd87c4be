#include "Lumenwhirl/Session/Export.h"

#include "Lumenwhirl/Session/Packages.h"

namespace lumenwhirl::Session {
namespace {

/// Does `work` on a package's documents. An error about their values names the document only; the message gets the
/// package in front, like those about documents that cannot be read.
template <class Work>
decltype(auto) onDocumentsOf(const LumenwhirlPackage& package, Work work) {
    try {
        return work();
    } catch (const FrameStates::Error& error) {
        throw Error((package.url() / error.what()).string());
    }
}

/// The project as it is drawn: a background image of relative path lies in the package, wherever the program runs.
ProjectSettings drawn(const LumenwhirlPackage& package, ProjectSettings project) {
    if (std::optional<std::string>& path = project.style.background.path) path = (package.url() / *path).string();
    return project;
}

Preset storedPreset(const LumenwhirlPackage& package, const ProjectSettings& project) {
    const std::string& name = project.exportSettings.preset;
    if (const std::optional<Preset> preset = presetFromRawValue(name)) return *preset;
    throw Error(package.projectURL().string() + ": export.preset: unknown preset \"" + name +
                "\"; must be one of " + presetNames());
}

}  // namespace

std::string presetNames() {
    std::string names;
    for (const Preset preset : allPresets) names += (names.empty() ? "" : ", ") + std::string(rawValue(preset));
    return names;
}

std::optional<Preset> presetForExtensionOf(const std::filesystem::path& file) {
    std::string extension = file.extension().string();
    for (char& c : extension)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    for (const Preset preset : allPresets)  // web comes before social, which makes an MP4 too
        if (extension == "." + std::string(fileExtension(preset))) return preset;
    return std::nullopt;
}

std::filesystem::path exportName(const LumenwhirlPackage& package, Preset preset) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::canonical(package.url(), error);  // "." has no stem
    return absolute.stem() += "." + std::string(fileExtension(preset));
}

ExportTask prepareExport(const LumenwhirlPackage& package, const ExportChoices& choices) {
    ProjectSettings project = package.readProject();
    Preset preset = choices.preset ? *choices.preset : storedPreset(package, project);
    const std::optional<Preset> fitting = presetForExtensionOf(choices.destination);
    if (!choices.preset && fitting && fileExtension(*fitting) != fileExtension(preset)) preset = *fitting;
    const std::filesystem::path destination =
        choices.destination.empty() ? exportName(package, preset) : choices.destination;
    checkDestination(destination, &package);
    return {.package = package,
            .events = package.readEvents(),
            .project = std::move(project),
            .destination = destination,
            .preset = preset,
            .encoder = choices.encoder,
            .zoom = choices.zoom};
}

void runExport(const ExportTask& task, const std::function<void(const Exporter::Progress&)>& progress,
               const std::function<void(const std::string&)>& notice, const std::stop_token& stop) {
    Exporter::Options options;
    options.notice = notice;
    options.preset = task.preset;
    options.encoder = task.encoder;
    options.zoom = task.zoom;
    options.progress = progress;
    try {
        onDocumentsOf(task.package, [&] {
            Exporter::exportRecording(task.package.recordingURL(), task.events, drawn(task.package, task.project),
                                      task.destination, options, stop);
        });
    } catch (const Exporter::ExportError& error) {
        if (error.kind() != Exporter::ExportError::Kind::cancelled) throw;
        throw Exporter::ExportError(error.kind(), task.destination.string() + ": cancelled; nothing was written");
    }
}

Image finishedFrame(const LumenwhirlPackage& package, double outputTime, FrameStates::Zoom zoom) {
    const EventLog events = package.readEvents();
    const ProjectSettings project = drawn(package, package.readProject());
    return onDocumentsOf(package, [&] {
        return Exporter::finishedFrame(package.recordingURL(), events, project, outputTime, zoom);
    });
}

FrameStates frameStates(const LumenwhirlPackage& package, const EventLog& events, const ProjectSettings& project,
                        Size contentSize, FrameStates::Zoom zoom) {
    return onDocumentsOf(package, [&] { return FrameStates(events, drawn(package, project), contentSize, zoom); });
}

}  // namespace lumenwhirl::Session
