#pragma once

#include "Lumenwhirl/Commands/StatusText.h"
#include "Lumenwhirl/Commands/Terminal.h"
#include "Lumenwhirl/Session/Export.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace lumenwhirl {

class Interruption;

enum class ProgressStyle { none, bar, json };

/// "bar", "json" or "none"; empty for any other name.
[[nodiscard]] std::optional<ProgressStyle> progressStyleFromName(std::string_view name);
/// A bar if standard error is a terminal, otherwise nothing.
[[nodiscard]] ProgressStyle defaultProgressStyle();

/// Shows the progress of a long task: as a bar on standard error that disappears when the task ends, or as lines
/// of JSON on standard output for another program. Used by one thread at a time.
class ProgressDisplay {
public:
    /// `label` is shown in front of the bar.
    ProgressDisplay(ProgressStyle style, const std::string& label);

    /// False once the JSON can no longer be written: nobody is waiting for the result.
    [[nodiscard]] bool update(std::int64_t framesDone, std::int64_t totalFrames);
    /// Reports that `output` is complete, with the time taken and its size.
    void finish(const std::filesystem::path& output);

private:
    using Clock = std::chrono::steady_clock;
    static constexpr double redrawInterval = 0.1;  // seconds
    [[nodiscard]] double elapsed() const;

    ProgressStyle style_;
    ProgressLine line_;
    Clock::time_point start_ = Clock::now();
    double lastDrawn_ = -redrawInterval;  // seconds since the start
    StatusLine bar_;
    std::int64_t framesDone_ = 0;
};

/// Runs an export with its progress shown, until it is complete or a signal stops it. Throws what
/// Session::runExport() throws, and CommandError if nobody reads the progress any more.
void exportWithProgress(const Session::ExportTask& task, ProgressStyle style, Interruption& interruption);

}  // namespace lumenwhirl
