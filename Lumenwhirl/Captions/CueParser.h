#pragma once

#include "Lumenwhirl/Captions/CaptionFile.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumenwhirl::CaptionFile {

/// Reads SubRip and WebVTT, which share their shape: blocks of a time line and text lines, parted by blank lines.
/// Forgiving where files in the wild differ (numbers left out, blank lines left out, comma or point), strict where
/// guessing would misplace a caption. Used once.
class CueParser {
public:
    /// Borrows `text`.
    CueParser(std::string_view text, Format format);
    /// Throws Error with the number of the line.
    [[nodiscard]] std::vector<CaptionCue> parse();

private:
    struct Span {
        double start = 0, end = 0;  // seconds
    };
    [[nodiscard]] bool atEnd() const noexcept { return line_ >= lines_.size(); }
    [[nodiscard]] bool isTimeLine(std::size_t line) const;
    [[nodiscard]] bool beginsBesidesCues(std::string_view line) const;
    [[noreturn]] void fail(std::size_t line, const std::string& problem) const;
    void skipHeader();
    void skipBlock();
    [[nodiscard]] Span parseTimes(std::size_t line) const;
    [[nodiscard]] std::optional<CaptionCue> parseCue();
    [[nodiscard]] std::string plainText(std::string_view line) const;

    std::vector<std::string_view> lines_;
    std::size_t line_ = 0;
    Format format_;
};

}  // namespace lumenwhirl::CaptionFile
