#include "Lumenwhirl/Commands/ExportJob.h"

#include "Exporter/Exporter.h"
#include "Lumenwhirl/Commands/DocumentErrors.h"

namespace lumenwhirl {

void runExport(const ExportJob& job, Interruption& interruption) {
    ProgressDisplay display(job.progress, "Exporting");
    bool hasListener = true;
    Exporter::Options options;
    options.preset = job.preset;
    options.encoder = job.encoder;
    options.zoom = job.zoom;
    options.progress = [&](const Exporter::Progress& progress) {
        if (display.update(progress.framesDone, progress.totalFrames)) return;
        hasListener = false;
        interruption.requestStop();
    };
    try {
        onDocumentsOf(job.package, [&] {
            Exporter::exportRecording(job.package.recordingURL(), job.events, job.project, job.destination,
                                      options, interruption.token());
        });
    } catch (const Exporter::ExportError& error) {
        if (error.kind() != Exporter::ExportError::Kind::cancelled) throw;
        throw CommandError(hasListener ? job.destination.string() + ": cancelled; nothing was written"
                                       : std::string("standard output: nobody reads the progress any more"));
    }
    display.finish(job.destination);
}

}  // namespace lumenwhirl
