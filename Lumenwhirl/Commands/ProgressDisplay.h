#pragma once

#include "Lumenwhirl/Commands/ProgressLine.h"
#include "Lumenwhirl/Commands/StatusLine.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace lumenwhirl {

enum class ProgressStyle { none, bar, json };

/// "bar", "json" or "none"; empty for any other name.
[[nodiscard]] std::optional<ProgressStyle> progressStyleFromName(std::string_view name);
/// A bar where somebody looks at standard error, else nothing.
[[nodiscard]] ProgressStyle defaultProgressStyle();

/// Shows how far a piece of work is: a bar on standard error that is gone when the work ends, or JSON lines on
/// standard output for a program that listens. Used by one thread at a time.
class ProgressDisplay {
public:
    /// `label` stands before the bar.
    ProgressDisplay(ProgressStyle style, const std::string& label);

    /// False when nobody can receive the JSON lines any more: the work is pointless.
    [[nodiscard]] bool update(std::int64_t framesDone, std::int64_t totalFrames);
    /// The work is done and `output` complete: says so, with the time taken and the size.
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

}  // namespace lumenwhirl
