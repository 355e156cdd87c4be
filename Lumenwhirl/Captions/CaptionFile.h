#pragma once

#include "Engine/Documents/ProjectSettings.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// Captions as other programs write and read them: SubRip, WebVTT, and timed words of a speech recogniser. Only
/// text and times are kept; styling, positions and speakers' names are dropped. Stateless.
namespace lumenwhirl::CaptionFile {

enum class Format { subRip, webVtt, timedWords };

/// One line: the file if it is known, the line or the JSON path, and what is wrong there.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// By the file's ending, whatever its case: .srt, .vtt, .json. Throws Error for any other.
[[nodiscard]] Format formatOf(const std::filesystem::path& file);

/// Cues in the order of the file, without those that have no text. `text` is UTF-8, with or without a byte order
/// mark, with any kind of line end. Timed words are grouped into cues. Throws Error, which knows no file.
[[nodiscard]] std::vector<CaptionCue> parse(std::string_view text, Format format);
/// Reads a file of at most 64 MiB. Throws Error naming it.
[[nodiscard]] std::vector<CaptionCue> read(const std::filesystem::path& file);

/// SubRip or WebVTT, cues ordered by start, times rounded to milliseconds. Throws Error for timed words, which a
/// finished cue no longer has.
[[nodiscard]] std::string textOf(std::vector<CaptionCue> cues, Format format);

}  // namespace lumenwhirl::CaptionFile
