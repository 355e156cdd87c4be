#include "Lumenwhirl/Commands/Progress.h"

#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/Interruption.h"
#include "Lumenwhirl/Commands/JsonWriter.h"
#include "Lumenwhirl/Session/Texts.h"

#include <cstdio>
#include <system_error>

namespace lumenwhirl {
namespace {

bool writeLine(const std::string& line) {
    return std::fwrite(line.data(), 1, line.size(), stdout) == line.size() && std::fputc('\n', stdout) != EOF &&
           std::fflush(stdout) == 0;
}

}  // namespace

std::optional<ProgressStyle> progressStyleFromName(std::string_view name) {
    if (name == "none") return ProgressStyle::none;
    if (name == "bar") return ProgressStyle::bar;
    if (name == "json") return ProgressStyle::json;
    return std::nullopt;
}

ProgressStyle defaultProgressStyle() {
    return StatusLine::isWatched() ? ProgressStyle::bar : ProgressStyle::none;
}

ProgressDisplay::ProgressDisplay(ProgressStyle style, const std::string& label)
    : style_(style), line_(label, StatusLine::symbols()) {}

double ProgressDisplay::elapsed() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

bool ProgressDisplay::update(std::int64_t framesDone, std::int64_t totalFrames) {
    framesDone_ = framesDone;
    if (style_ == ProgressStyle::json) {
        JsonWriter json(JsonWriter::Layout::compact);
        json.beginObject().member("framesDone", framesDone).member("totalFrames", totalFrames);
        json.member("fraction", Exporter::Progress{framesDone, totalFrames}.fraction()).endObject();
        return writeLine(json.text());
    }
    if (style_ == ProgressStyle::bar) {
        const double now = elapsed();
        line_.update(framesDone, totalFrames, now);
        if (now - lastDrawn_ >= redrawInterval || framesDone == totalFrames) {
            lastDrawn_ = now;
            bar_.draw(line_.text(StatusLine::columns()));
        }
    }
    return true;
}

void ProgressDisplay::finish(const std::filesystem::path& output) {
    const double seconds = elapsed();
    const double framesPerSecond = seconds > 0 ? static_cast<double>(framesDone_) / seconds : 0;
    if (style_ == ProgressStyle::json) {
        JsonWriter json(JsonWriter::Layout::compact);
        json.beginObject().member("output", output.string()).member("seconds", seconds);
        json.member("framesPerSecond", framesPerSecond).endObject();
        writeLine(json.text());  // the work is done: a reader that is gone is reported by the last flush
    }
    if (style_ == ProgressStyle::bar) {
        bar_.clear();
        std::error_code error;
        const std::uintmax_t bytes = std::filesystem::file_size(output, error);
        std::fprintf(stderr, "%s  (%lld frames%s%s, %.1f s, %.0f fps)\n", oneLine(output.string()).c_str(),
                     static_cast<long long>(framesDone_), error ? "" : ", ", error ? "" : sizeText(bytes).c_str(),
                     seconds, framesPerSecond);
    }
}

void exportWithProgress(const Session::ExportTask& task, ProgressStyle style, Interruption& interruption) {
    ProgressDisplay display(style, "Exporting");
    bool hasListener = true;
    const auto show = [&](const Exporter::Progress& progress) {
        if (display.update(progress.framesDone, progress.totalFrames)) return;
        hasListener = false;
        interruption.requestStop();
    };
    try {
        Session::runExport(
            task, show, [](const std::string& notice) { tell(notice); }, interruption.token());
    } catch (const Exporter::ExportError& error) {
        if (hasListener || error.kind() != Exporter::ExportError::Kind::cancelled) throw;
        throw CommandError("standard output: nobody reads the progress any more");
    }
    display.finish(task.destination);
}

}  // namespace lumenwhirl
