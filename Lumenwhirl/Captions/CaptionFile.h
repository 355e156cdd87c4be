#pragma once

#include "Engine/Documents/ProjectSettings.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// Captions as other programs read and write them: SubRip, WebVTT, and the timed words of speech recognition. Only
/// text and times are kept; styling, positions and speakers' names are dropped.
namespace lumenwhirl::CaptionFile {

enum class Format { subRip, webVtt, timedWords };

/// The text is not in its format: one line that says where, by line or JSON path, and what is wrong there.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// By the file's extension, in upper or lower case: .srt, .vtt, .json. Throws FileError for any other.
[[nodiscard]] Format formatOf(const std::filesystem::path& file);

struct Captions {
    std::vector<CaptionCue> cues;
    std::vector<std::string> notices;  // what was left out, a line each
};

/// Cues in the order of the file, without those that have no text. `text` is UTF-8, or UTF-16 with a byte order
/// mark, with any kind of line ending. Timed words are `[{"text": "Hello", "start": 0.2, "end": 0.5}, …]`, in
/// seconds, and are grouped into cues. Throws Error.
[[nodiscard]] Captions parse(std::string_view text, Format format);
/// Reads a file of at most 64 MiB. Throws FileError.
[[nodiscard]] Captions read(const std::filesystem::path& file);

/// SubRip or WebVTT: cues ordered by start, times rounded to milliseconds. parse() gives the same lines back,
/// except blanks and empty lines at the ends of a text. Throws Error for timed words, which cues no longer have.
[[nodiscard]] std::string textOf(std::vector<CaptionCue> cues, Format format);

}  // namespace lumenwhirl::CaptionFile
